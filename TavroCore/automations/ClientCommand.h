// The command lines by which the agents' clients are started.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "TavroCore/automations/LoopRun.h"

namespace ClientCommand {

/// Stands among the arguments of a client that takes its prompt as an argument; others read it from standard input.
inline constexpr std::string_view prompt = "@@VENDRY_PROMPT@@";

/// In a session (tmux, a window) the supervisor closes the terminal from the outside, which `claude` is told.
enum class Place { session, child };

/// The program, found through the search path, and its arguments. A client that we don't know is run as "claude".
std::vector<std::string> of(const LoopRun& run, Place place);

}  // namespace ClientCommand
