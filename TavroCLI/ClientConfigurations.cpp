#include "TavroCLI/ClientConfigurations.h"

#include <algorithm>

#include "Platform/Bundle.h"
#include "Platform/Environment.h"
#include "Platform/Json.h"
#include "Platform/Text.h"
#include "TavroCore/automations/AgentClients.h"

namespace fs = std::filesystem;

namespace {

/// The directory that the variable names, or the one that stands for it.
fs::path directory(const char* variable, const fs::path& otherwise) {
  const fs::path named = Environment::value(variable).value_or("");
  return named.is_absolute() ? named : otherwise;
}

}  // namespace

std::optional<bool> ClientConfiguration::hasServer(const std::string& name) const {
  if (!file) return std::nullopt;
  return ClientConfigurations::formatOf(*file).hasServer(*file, name);
}

bool ClientConfiguration::startsUs(const std::string& name) const {
  if (hasServer(name) != true) return false;
  try {
    const auto merge =
        ClientConfigurations::formatOf(*file).merged(*file, (Bundle::url() / "tavro-mcp").string(), name);
    const std::string before = merge.before.value_or("");
    if (ClientConfigurations::isTOML(*file)) return before == merge.after;
    return JsonText::parseObject(before) == JsonText::parseObject(merge.after);
  } catch (const Error&) {  // a file that we couldn't enter ourselves into
    return false;
  }
}

std::vector<ClientConfiguration> ClientConfigurations::all() {
  const fs::path home = Environment::home();
  std::vector<ClientConfiguration> all = {
      {"claude", home / ".claude.json"},
      {"codex", directory("CODEX_HOME", home / ".codex") / "config.toml"},
      {"agy", home / ".gemini/antigravity/mcp_config.json"},
      {"claude-desktop", directory("XDG_CONFIG_HOME", home / ".config") / "Claude/claude_desktop_config.json"},
  };
  for (const auto& id : AgentClients::ids()) {
    if (std::none_of(all.begin(), all.end(), [&](const auto& client) { return client.id == id; }))
      all.push_back({id, std::nullopt});
  }
  return all;
}

bool ClientConfigurations::isTOML(const fs::path& file) {
  return Text::lowercase(file.extension().string()) == ".toml";
}

const ClientConfigurations::Format& ClientConfigurations::formatOf(const fs::path& file) {
  using namespace MCPConfigWriter;
  static const Format json{jsonHasServer, mergedJSON}, toml{tomlHasServer, mergedTOML};
  return isTOML(file) ? toml : json;
}
