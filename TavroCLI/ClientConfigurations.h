// The agents' clients whose configuration files we know, and what stands in those.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "TavroCore/automations/MCPConfigWriter.h"

struct ClientConfiguration {
  std::string id;
  std::optional<std::filesystem::path> file;  // nothing: we don't know where it keeps its servers

  /// Does it know a server of this name? Nothing where we don't know its file; false also for a file that can't be
  /// read.
  std::optional<bool> hasServer(const std::string& name) const;
  /// Is that server ours, so that entering it again would change nothing?
  bool startsUs(const std::string& name) const;
};

namespace ClientConfigurations {

std::vector<ClientConfiguration> all();

/// How a file is written: TOML by its name, else JSON.
struct Format {
  decltype(&MCPConfigWriter::jsonHasServer) hasServer;
  decltype(&MCPConfigWriter::mergedJSON) merged;
};
bool isTOML(const std::filesystem::path& file);
const Format& formatOf(const std::filesystem::path& file);

}  // namespace ClientConfigurations
