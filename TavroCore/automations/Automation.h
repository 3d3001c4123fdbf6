// One stored automation, or loop, as the rest of the program sees it, with its last run. A view: changing it changes
// nothing on disk.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Dates.h"
#include "TavroCore/automations/Schedule.h"

enum class RunOutcome { ok, stopped, failed };

struct Automation {
  enum class Kind { agent, script, tool };

  std::string name;  // and its id: directory, launchd label, tmux session
  Kind kind = Kind::agent;
  std::optional<std::string> prompt;   // filled for every kind from what is stored, used for an agent
  std::optional<std::string> command;  // the shell command of a script or a tool
  std::optional<std::string> model;
  std::string client = "claude";  // AgentClients
  std::optional<std::string> effort;
  std::optional<std::string> cwd;
  Schedule schedule;
  bool visible = true;                    // in a window; else in a session in the background
  std::optional<long long> screen;        // index of the display for the window (VendryScreens)
  bool notifyOnFail = false;              // of a script or a tool: a mail to the owner
  bool enabled = true;                    // else paused
  bool isSystem = false;                  // kept by the program itself
  bool running = false;                   // a live process holds its run lock
  std::optional<Dates::Instant> lastRun;  // when the last run ended
  std::optional<long long> lastExit;

  const std::string& id() const { return name; }
  bool operator==(const Automation&) const = default;

  /// Nothing before the first run. An agent that was stopped counts as well.
  std::optional<bool> lastRunOK() const;
  std::optional<RunOutcome> lastOutcome() const;

  /// One line for lists: the prompt, the command, or a tool with its arguments.
  std::string workSummary() const;
  /// The same at more length, the prompt's markdown as plain text.
  std::string previewText() const;

  /// What stands behind the first " run ", or all of it: "'/x/tavro' run mail.send to=a" is "mail.send to=a".
  static std::string stripTavroRunPrefix(std::string_view command);
  /// Markdown as plain display text of at most `maxChars` characters, cut with "...".
  static std::string cleanExcerpt(std::string_view text, long long maxChars);
  static std::vector<std::string> supportedClients();
};

std::string_view rawValue(Automation::Kind kind);  // "agent", "script", "tool"
