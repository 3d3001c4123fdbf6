#include "TavroCore/automations/AgentClients.h"

#include <algorithm>

namespace AgentClients {

const std::vector<AgentClient>& all() {
  static const std::vector<AgentClient> rows = {
      {.id = "claude",
       .display = "Claude Code",
       .modelOptions = {"sonnet", "opus", "haiku"},
       .supportsEffort = true,
       .defaultModel = "sonnet",
       .supportsLiveView = true},
      {.id = "codex",
       .display = "Codex",
       .modelPlaceholder = "gpt-5-codex (blank = client default)",
       .supportsLiveView = true},
      {.id = "agy", .display = "Antigravity", .modelPlaceholder = "Gemini 3.1 Pro (High) - blank = client default"},
      {.id = "grok",
       .display = "Grok",
       .modelPlaceholder = "grok-4 (blank = client default)",
       .supportsLiveView = true},
  };
  return rows;
}

std::vector<std::string> ids() {
  std::vector<std::string> result;
  for (const auto& client : all()) result.push_back(client.id);
  return result;
}

const AgentClient& find(std::string_view id) {
  const auto found = std::find_if(all().begin(), all().end(), [&](const auto& client) { return client.id == id; });
  return found == all().end() ? all().front() : *found;
}

}  // namespace AgentClients
