#include "TavroCore/automations/VendryRunner.h"

#include <cerrno>
#include <cstdio>

#include "Platform/Files.h"
#include "Platform/Json.h"
#include "Platform/Process.h"
#include "Platform/Text.h"
#include "TavroCore/automations/InnerScript.h"
#include "TavroCore/automations/Launchers.h"
#include "TavroCore/automations/LoggedChild.h"
#include "TavroCore/automations/LoopRun.h"
#include "TavroCore/automations/RunLock.h"
#include "TavroCore/automations/RunLog.h"
#include "TavroCore/automations/VendryEngine.h"
#include "TavroCore/feedback/AskService.h"
#include "TavroCore/harness/LoopName.h"

namespace {

constexpr int done = 0;
constexpr int notCarriedOut = 1;

constexpr const char* completionContract =
    "When the task above is complete, signal it by running `tavro auto-done` (equivalent: printf 0 > \"$VENDRY_DONE\"). "
    "On partial failure, run `tavro auto-done 1`. Do NOT kill any process, do not close the window yourself, and do not "
    "sit waiting at the prompt: the vendry supervisor sees the signal and closes the session from the outside.";

int refuse(const std::string& reason) {
  std::fputs(("vendry: " + reason + "\n").c_str(), stderr);
  return notCarriedOut;
}

/// What the run before left must not be taken for this one's, least of all when a full disk keeps us from replacing it.
void clearTracks(const LoopFiles& files) {
  for (const auto& file : {files.doneMarker, files.prompt, files.innerScript, files.failTail}) {
    try {
      Files::remove(file);
    } catch (const FileFailure&) {  // a disk that can't be written: what needs these files will fail by itself
    }
  }
}

// ---- A script, or a tool.

std::string whatFailed(const LoopRun& run, int code) {
  return "The script loop \"" + run.files.name + "\" failed (exit " + std::to_string(code) + ").";
}

/// A text as a mail takes it, without NULs, whatever the script wrote. On its way it is one argument of a program
/// (Process::longestArgument), and bytes that aren't text become three each.
std::string endOfLog(const LoopRun& run) {
  constexpr long long most = 32 << 10;
  return Text::replaceAll(RunLog::lastLines(run.files.log, 40, most).value_or(""), std::string_view("\0", 1), "");
}

/// The argument with the mail's body: a file, for the log's lines may be long. On a full disk the first line alone,
/// which is better than none.
std::string bodyOf(const LoopRun& run, int code) {
  const std::string what = whatFailed(run, code);
  try {
    Files::replace(run.files.failTail, what + "\n\nLast lines of the log:\n\n" + endOfLog(run) + "\n");
    return "body-file=" + run.files.failTail.native();
  } catch (const FileFailure&) {
    return "body=" + what;
  }
}

/// A mail to the owner, through the gate like any other. Once: what failed may have been sent all the same.
void notifyFail(const LoopRun& run, int code) {
  constexpr int sent = 0, waitsForTheOwner = 3;
  const std::string subject = "[vendry] " + run.files.name + " failed (exit " + std::to_string(code) + ")";
  int status = -1;
  try {
    status = Process::run({.program = VendryEngine::tavroBinaryForLaunchd(),
                           .arguments = {"run", "mail.notify", "subject=" + subject, bodyOf(run, code)},
                           .output = Process::Output::discard,
                           .errors = Process::Output::discard,
                           .environment = run.environment()})
                 .status.shellCode();
  } catch (const Process::LaunchFailure&) {  // stays at -1
  }
  if (status != sent && status != waitsForTheOwner)
    run.logEvent("failure mail not sent (exit " + std::to_string(status) + ")");
}

int runScript(const LoopRun& run) {
  if (run.command.empty()) {
    run.logEvent("script loop '" + run.files.name + "' has no command - nothing to run");
    return notCarriedOut;
  }
  const int code = LoggedChild::run(run, "script", {.program = "/bin/bash", .arguments = {"-c", run.command}});
  run.writeState(code);
  if (code != 0 && run.notifiesOnFail) notifyFail(run, code);
  return done;
}

// ---- An agent.

/// The prompt and the inner script. They are written before the owner's answers are taken, which are given out once
/// only, and not again after a full disk has lost them.
void prepareAgent(const LoopRun& run) {
  // Its shell would go on where the runner was started, in a directory that nobody chose.
  if (!Files::isDirectory(run.cwd)) throw FileFailure("work in", run.cwd, ENOENT);
  const std::string task = run.prompt() + "\n\n\n" + completionContract + "\n";
  Files::replace(run.files.prompt, task);
  InnerScript::write(run);
  const std::string answers = AskService::shared().injectionBlock(run.files.name);
  if (!answers.empty()) Files::replace(run.files.prompt, answers + "\n\n" + task);
}

void launchAgent(const LoopRun& run) {
  if (run.isVisible) return Launchers::runInWindow(run);
  if (VendryEngine::tmuxPath()) {
    if (Launchers::runInTmux(run)) return;
    run.logEvent("tmux session failed - falling back to direct headless");
  }
  Launchers::runAsChild(run);
}

int runAgent(const LoopRun& run) {
  try {
    prepareAgent(run);
  } catch (const FileFailure& failure) {
    constexpr int notStarted = -1;
    run.logEvent("agent not started: " + failure.description());
    run.writeState(notStarted);
    return done;
  }
  launchAgent(run);
  return done;
}

// ---- The run.

/// True when the loop's turn is over before it began.
bool isPaused(const LoopRun& run) {
  const auto loop = VendryEngine::read(run.files.record);
  if (!loop || loop->enabled) return false;
  run.logEvent("skip: '" + run.files.name +
               "' is paused; launchd fired a stale / login-reloaded agent. Resume it in the cockpit to run.");
  return true;
}

int runLocked(const LoopRun& run) {
  const RunLock lock(run.files);
  if (!lock.isHeld()) {
    const std::string holder = lock.holder() == 0 ? "?" : std::to_string(lock.holder());
    run.logEvent("skip: previous run still active (pid " + holder + ")");
    return done;
  }
  if (lock.takenOverFrom()) run.logEvent("stale lock (pid " + *lock.takenOverFrom() + ") - taking over");
  clearTracks(run.files);
  RunLog::rotateIfNeeded(run.files.log);
  return run.isScript ? runScript(run) : runAgent(run);
}

}  // namespace

int VendryRunner::runOnce(const std::string& name, bool force) {
  VendryEngine::ensureLayout();
  const auto record = isSafeLoopName(name) ? VendryEngine::rawObject(name) : std::nullopt;
  if (!record) return refuse("no such loop: " + name);
  const LoopRun run(name, *record);
  if (!force && isPaused(run)) return done;
  try {
    return runLocked(run);
  } catch (const FileFailure& failure) {
    return refuse(failure.description());
  }
}
