#include "TavroCore/automations/TmuxSession.h"

#include <algorithm>

#include "Platform/Text.h"
#include "TavroCore/automations/LoopStore.h"
#include "TavroCore/automations/VendryEngine.h"

namespace TmuxSession {
namespace {

using Process::Output;

/// Nothing where tmux can't be started.
std::optional<Process::Result> answer(const std::vector<std::string>& arguments) try {
  const auto tmux = VendryEngine::tmuxPath();
  if (!tmux) return std::nullopt;
  auto asked = command(*tmux, arguments);
  // Without -u a client outside of a UTF-8 locale is told underscores for other scripts' letters.
  asked.arguments.insert(asked.arguments.begin(), "-u");
  asked.output = asked.errors = Output::capture;
  return Process::run(asked);
} catch (const Process::LaunchFailure&) {
  return std::nullopt;
}

/// In tmux's words: nobody listens at the socket, or there is none.
bool tellsOfNoServer(const Process::Result& result) {
  const auto words = Text::trim(result.errors);
  return words.starts_with("no server running on ") ||
         (words.starts_with("error connecting to ") && words.ends_with(" (No such file or directory)"));
}

/// Where a session of the name may be gone by now.
std::string exactly(const std::string& name) { return "=" + name; }

}  // namespace

Process::Command command(const std::filesystem::path& tmux, const std::vector<std::string>& arguments) {
  std::vector<std::string> all = {"-S", VendryEngine::tmuxSocket().string()};
  all.insert(all.end(), arguments.begin(), arguments.end());
  return {.program = tmux,
          .arguments = all,
          .input = "",
          .output = Output::discard,
          .errors = Output::discard,
          .limit = std::chrono::seconds(10)};
}

State look(const std::string& name) {
  if (!LoopStore::named(name)) return State::gone;
  const auto list = answer({"list-sessions", "-F", "#{session_name}"});
  if (!list) return State::unknown;
  if (!list->status.ok()) return tellsOfNoServer(*list) ? State::gone : State::unknown;
  const auto names = Text::split(list->output, '\n');
  return std::find(names.begin(), names.end(), name) == names.end() ? State::gone : State::there;
}

std::vector<Process::Seen> processes(const std::string& name) {
  const auto panes = answer({"list-panes", "-s", "-t", exactly(name), "-F", "#{pane_pid}"});
  std::vector<Process::Seen> all;
  if (!panes || !panes->status.ok()) return all;
  for (const auto& line : Text::split(panes->output, '\n', true)) {
    const auto family = Process::family(static_cast<pid_t>(Text::parseInteger(line).value_or(0)));
    all.insert(all.end(), family.begin(), family.end());
  }
  return all;
}

void close(const std::string& name) {
  const State state = look(name);
  if (state == State::gone) return;
  const auto left = processes(name);
  VendryEngine::tmux({"kill-session", "-t", state == State::there ? name : exactly(name)});
  Process::endAll(left, patience);
}

}  // namespace TmuxSession
