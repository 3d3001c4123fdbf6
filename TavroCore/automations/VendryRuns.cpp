// Starting, stopping and watching runs: the tavro command that makes them, and tmux, where those in the background
// live.
#include "Platform/Bundle.h"
#include "Platform/Files.h"
#include "Platform/Process.h"
#include "Platform/Program.h"
#include "TavroCore/automations/AttachScript.h"
#include "TavroCore/automations/LoopStore.h"
#include "TavroCore/automations/RunLock.h"
#include "TavroCore/automations/ShellText.h"
#include "TavroCore/automations/TmuxSession.h"
#include "TavroCore/automations/VendryEngine.h"
#include "TavroCore/harness/HarnessConfig.h"

namespace VendryEngine {
namespace {

using LoopStore::attempt;
using Process::Output;

/// Neither our standard input, which may be a client's, nor our outputs.
Process::Command quiet(const std::filesystem::path& program, std::vector<std::string> arguments) {
  return {.program = program,
          .arguments = std::move(arguments),
          .input = "",
          .output = Output::discard,
          .errors = Output::discard};
}

/// The waiting run takes what the marker holds for its exit code; it looks for it as soon as the session is gone.
void endSession(const LoopFiles& files) {
  const auto left = TmuxSession::processes(files.name);
  tmux({"kill-session", "-t", files.name});
  attempt([&] { Files::replace(files.doneMarker, "143"); });
  Process::endAll(left, TmuxSession::patience);
}

/// The children first, so that none outlives the run unseen. By then it may have ended by itself, and its id be free.
/// What these have started in turn would run on beside the next run, and so would who doesn't heed the signals.
void endProcess(const LoopFiles& files, pid_t runner) {
  const auto all = Process::family(runner);
  attempt([&] { Process::run(quiet(Platform::program("pkill"), {"-P", std::to_string(runner)})); });
  if (RunLock::liveHolder(files) == runner) Process::terminate(runner);
  Process::terminateAll(all);
  Process::endAll(all, std::chrono::seconds(5));
}

}  // namespace

std::filesystem::path tavroBinaryForLaunchd() {
  const auto& own = Bundle::executable();
  if (own.filename() == "tavro" && Files::isExecutable(own)) return own;
  return Bundle::url() / "Contents/Helpers/tavro";
}

void runNow(const std::string& name) {
  LoopStore::existing(name);
  const auto tavro = tavroBinaryForLaunchd();
  if (!Files::isExecutable(tavro)) throw EngineError::failed("could not start " + tavro.string());
  Process::detach({.program = "/bin/bash",
                   .arguments = {"-c", "nohup " + ShellText::quoted(tavro.string()) + " auto-run " +
                                           ShellText::quoted(name) + " --force >/dev/null 2>&1 &"},
                   .environment = {{"VENDRY_RUN", ""}, {"VENDRY_DONE", ""}}});  // of a run that starts another
}

std::filesystem::path tmuxSocket() { return LoopFiles::runtime() / "run/vendry.sock"; }

std::optional<std::string> tmuxPath() {
  // In the order of the search path of a session's terminal (AttachScript.h): client and server must be of one version.
  for (const char* path : {"/opt/homebrew/bin/tmux", "/usr/local/bin/tmux", "/usr/bin/tmux"}) {
    if (Files::isExecutable(path)) return path;
  }
  return std::nullopt;
}

int tmux(const std::vector<std::string>& args) try {
  const auto path = tmuxPath();
  return path ? Process::run(TmuxSession::command(*path, args)).status.shellCode() : -1;
} catch (const Process::LaunchFailure&) {
  return -1;
}

bool hasSession(const std::string& name) { return TmuxSession::look(name) == TmuxSession::State::there; }

void stop(const std::string& name) {
  const auto files = LoopStore::existing(name);
  if (hasSession(name) && tmux({"has-session", "-t", name}) == 0) return endSession(files);
  const auto runner = RunLock::liveHolder(files);
  // A lock file can hold anything. Process 1 never is a run, and its children are half of what the owner has running.
  if (!runner || *runner == 1) throw EngineError::notRunning(name);
  endProcess(files, *runner);
}

void attach(const std::string& name) {
  const auto files = LoopStore::existing(name);
  // The terminal's tmux would take a name that only begins like this one.
  if (!hasSession(name)) throw EngineError::failed("'" + name + "' has no session in the background");
  const auto terminal = HarnessConfig::load().terminalApp.value_or("");
  const std::string application = terminal.empty() ? "Terminal" : terminal;
  const auto script = AttachScript::write(files, application);
  auto open = quiet(Platform::program("open"), {"-a", application, script.string()});
  open.errors = Output::inherit;
  if (!Process::run(open).status.ok()) throw EngineError::failed("could not open " + application);
}

}  // namespace VendryEngine
