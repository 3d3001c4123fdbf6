#include "TavroCore/automations/DoneMarker.h"
#include "TavroCore/automations/Launchers.h"
#include "TavroCore/automations/ShellText.h"
#include "TavroCore/automations/VendryEngine.h"

namespace {

/// By its exact name: a target that isn't there would mean the session whose name begins with it.
void closeSession(const std::string& name) {
  if (VendryEngine::hasSession(name)) VendryEngine::tmux({"kill-session", "-t", name});
}

bool openSession(const LoopRun& run) {
  const std::string shellText = "exec bash " + ShellText::quoted(run.files.innerScript.native());
  return VendryEngine::tmux({"new-session", "-d", "-s", run.files.name, "-x", "220", "-y", "50", shellText}) == 0;
}

}  // namespace

bool Launchers::runInTmux(const LoopRun& run) {
  const std::string& name = run.files.name;
  closeSession(name);
  if (!openSession(run)) return false;
  run.logEvent("live run attachable: tmux -S " + VendryEngine::tmuxSocket().native() + " attach -t " + name +
               "  (or: Tavro cockpit → Automations → Open live run)");
  // Killed, or closed by hand, a session leaves no marker.
  const auto isGone = [&] { return !VendryEngine::hasSession(name); };
  const auto ending = DoneMarker::wait(run.files.doneMarker, run.timeLimit, {.isGone = isGone});
  if (ending.isSessionGone) run.logEvent("tmux session ended without a signal");
  closeSession(name);
  run.writeState(ending.code);
  return true;
}
