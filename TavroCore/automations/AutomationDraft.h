// A loop that is being made or edited, and the record that comes of it. The record is the JSON object of loop.json:
//
//   all            name, schedule, createdAt (seconds since 1970, with fractions), cwd (when given)
//   script, tool   kind ("script"), command, timeoutSeconds (0), notifyOnFail
//   agent          model, client, timeoutSeconds (0), visible, effort (when not empty), screen (when given)
//   system loops   system (true)
//
// Three keys that no draft writes are read: "dangerous", and "prompt" and "enabled" of older records, which an edit
// takes out. A prompt belongs into AGENT.md, and whether a loop is paused into its state.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "Platform/JsonNames.h"
#include "TavroCore/automations/Schedule.h"

struct AutomationDraft {
  struct Agent {
    std::string prompt;
    std::string model;
    std::string client;
    std::optional<std::string> effort;
    bool visible = true;
    std::optional<long long> screen;
  };
  struct Script {
    std::string command;
    bool notifyOnFail = false;
  };
  struct Tool {
    std::string tool;
    std::string args;  // shell text, as `tavro run` takes it
    bool notifyOnFail = false;
  };
  using Work = std::variant<Agent, Script, Tool>;

  std::string name;
  Work work;
  Schedule schedule;
  std::optional<std::string> cwd;
  bool enabled = true;

  std::optional<std::string> agentPrompt() const;
  /// `cwd` with a leading "~" expanded; nothing when it is missing or empty.
  std::optional<std::string> expandedCwd() const;

  /// The record of a new loop.
  Json addObject() const;
  /// The edited record: keys that the draft doesn't speak of stay as they are.
  Json applied(Json record) const;

  /// "'/path/of/tavro' run <tool> <args>"
  static std::string toolCommand(std::string_view tool, std::string_view args);
};
