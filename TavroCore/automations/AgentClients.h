// The command-line programs of AI agents that an automation can start.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct AgentClient {
  std::string id;                              // as automations store it
  std::string display;                         // for people
  std::vector<std::string> modelOptions = {};  // empty: free text
  std::string modelPlaceholder = {};           // the hint in a free field
  bool supportsEffort = false;
  std::optional<std::string> defaultModel = std::nullopt;
  bool supportsLiveView = false;
};

namespace AgentClients {

const std::vector<AgentClient>& all();
std::vector<std::string> ids();
/// The first, "claude", for an id that isn't there.
const AgentClient& find(std::string_view id);

}  // namespace AgentClients
