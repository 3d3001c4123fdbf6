// Where the files of an automation lie, in the home:
//
//   automations/<name>/loop.json          the record (AutomationDraft.h)
//   automations/<name>/AGENT.md           the prompt of an agent
//   .runtime/state/<name>.json            "enabled", "lastRun", "lastExit", each of them optional
//   .runtime/logs/<name>.log              what runs wrote, and .log.1 before it
//   .runtime/logs/<name>.launchd.log      what the timer's process wrote
//   .runtime/run/<name>.lock.d/           the run lock (RunLock.h)
//   .runtime/run/<name>.done              the done marker: the run's exit code, in digits
//   .runtime/run/<name>.prompt, .run.sh, .failtail.txt
//   .runtime/run/vendry.sock              the tmux server of runs in the background
//
// and ~/Library/LaunchAgents/app.tavro.vendry.<name>.plist, its timer. Several programs work on them at once, so each
// is replaced as a whole. Runs of a loop exclude each other by the run lock, and changes of states take turns by a lock
// on .runtime/state; all else is whose write comes last.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

/// A name has passed isSafeLoopName before it comes here.
struct LoopFiles {
  explicit LoopFiles(std::string_view name);

  std::string name;
  std::filesystem::path directory, record, agent;
  std::filesystem::path state;
  std::filesystem::path log, launchdLog;
  std::filesystem::path lock, doneMarker, prompt, innerScript, failTail;
  std::filesystem::path plist;

  /// With a loop's name behind it, the label of its timer.
  static constexpr std::string_view labelHead = "app.tavro.vendry.";

  static std::filesystem::path automations();
  static std::filesystem::path runtime();
  static std::filesystem::path launchAgents();
};
