// The tmux session of a loop's run in the background, looked up by its exact name: as a target, a name also means the
// session that begins with it. A server that gives no answer in ten seconds is taken for one that can't tell.
#pragma once

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "Platform/Process.h"

namespace TmuxSession {

/// tmux with these arguments, on our socket. Neither our standard input, which may be a client's, nor our outputs.
Process::Command command(const std::filesystem::path& tmux, const std::vector<std::string>& arguments);

/// `unknown` where tmux can't be started, gives no answer or fails for a reason of its own.
enum class State { there, gone, unknown };
State look(const std::string& name);

/// What runs in it now. A client may outlive its session's end, and then speak up in the next run.
std::vector<Process::Seen> processes(const std::string& name);
/// How long those may take to tidy up.
inline constexpr std::chrono::seconds patience{2};

/// Ends it, unless it is known to be gone, and what is left of its processes.
void close(const std::string& name);

}  // namespace TmuxSession
