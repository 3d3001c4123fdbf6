#include "Platform/Files.h"
#include "TavroCore/automations/DoneMarker.h"
#include "TavroCore/automations/Launchers.h"
#include "TavroCore/automations/LoopStore.h"
#include "TavroCore/automations/ShellText.h"
#include "TavroCore/automations/TmuxSession.h"
#include "TavroCore/automations/VendryEngine.h"

namespace {

/// What it still said at its end isn't this run's.
void closeEarlierSession(const LoopRun& run) {
  TmuxSession::close(run.files.name);
  LoopStore::attempt([&] { Files::remove(run.files.doneMarker); });
}

bool openSession(const LoopRun& run) {
  const std::string shellText = "exec bash " + ShellText::quoted(run.files.innerScript.native());
  if (VendryEngine::tmux({"new-session", "-d", "-s", run.files.name, "-x", "220", "-y", "50", shellText}) == 0)
    return true;
  // A server that only now finds the time must start nothing beside what is run instead.
  LoopStore::attempt([&] { Files::remove(run.files.innerScript); });
  return false;
}

}  // namespace

bool Launchers::runInTmux(const LoopRun& run) {
  const std::string& name = run.files.name;
  closeEarlierSession(run);
  if (!openSession(run)) return false;
  run.logEvent("live run attachable: tmux -S " + VendryEngine::tmuxSocket().native() + " attach -t " + name +
               "  (or: Tavro cockpit → Automations → Open live run)");
  // Killed, or closed by hand, a session leaves no marker.
  const auto isGone = [&] { return TmuxSession::look(name) == TmuxSession::State::gone; };
  const auto ending = DoneMarker::wait(run.files.doneMarker, run.timeLimit, {.isGone = isGone});
  if (ending.isSessionGone) run.logEvent("tmux session ended without a signal");
  TmuxSession::close(name);
  run.writeState(ending.code);
  return true;
}
