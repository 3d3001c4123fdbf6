// What one run of a loop works with: its settings, read once when it starts, its files and its children's variables.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/JsonNames.h"
#include "TavroCore/automations/LoopFiles.h"

struct LoopRun {
  /// Reads the loop's settings; what the record lacks, or has of another type, gets its default.
  LoopRun(std::string_view name, const Json& record);

  LoopFiles files;
  std::string model;
  std::string client;  // AgentClients, or whatever the record says
  std::string cwd;
  long long timeLimit;  // seconds, at least 1; of an agent
  std::optional<long long> screen;
  bool isVisible;
  std::optional<std::string> effort;
  bool isScript;  // or a tool, which runs as one
  bool isDangerous;
  std::string command;
  bool notifiesOnFail;
  std::string searchPath;

  /// What the agent is to do. Throws FileFailure where that is more than 16 MB.
  std::string prompt() const;

  /// What tells the children which run they are in, so that the gate knows it, and their PATH. An agent's also have
  /// VENDRY_DONE.
  std::map<std::string, std::string> environment() const;

  void log(std::string_view line) const noexcept;
  /// "[<time>] <event>"
  void logEvent(std::string_view event) const noexcept;

  /// As VendryEngine::writeRunState, unless the name has gone on to another loop since the run began.
  void writeState(int exitCode) const noexcept;

 private:
  std::string olderPrompt_;  // of a record without an AGENT.md
  std::string createdAt_;    // as JSON
};
