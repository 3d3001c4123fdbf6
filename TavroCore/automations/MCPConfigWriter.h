// Enters this server into the configuration file of an agent's client, and leaves what else the file holds as it is.
// In JSON it is the key mcpServers.<name> with an object {"command": ...}; in TOML the table
//
//   [mcp_servers.<name>]
//   command = "<command>"
//   args = []
//
// Before an existing file changes it is copied to <file>.tavro-backup. Files are replaced as a whole.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace MCPConfigWriter {

inline constexpr const char* defaultServerName = "tavro";

enum class Result { added, updated };

/// False also for a file that can't be read.
bool jsonHasServer(const std::filesystem::path& at, std::string_view name = defaultServerName);
/// An entry of that name is replaced whole. Throws Error, and keeps the file, when it holds anything but a JSON object
/// or when it can't be written. A failure of the backup is passed over.
Result mergeJSON(const std::filesystem::path& at, const std::string& command,
                 const std::string& name = defaultServerName);

bool tomlHasServer(const std::filesystem::path& at, std::string_view name = defaultServerName);
/// Of an existing section only the `command` line changes. `command` is entered as it is, without escaping. Throws
/// Error, and keeps the file, when it isn't UTF-8 or can't be read or written.
Result mergeTOML(const std::filesystem::path& at, const std::string& command,
                 const std::string& name = defaultServerName);

/// What the merges would write, for a caller who only wants to see it. Throw as they do.
std::string mergedJSON(const std::filesystem::path& at, const std::string& command,
                       const std::string& name = defaultServerName);
std::string mergedTOML(const std::filesystem::path& at, const std::string& command,
                       const std::string& name = defaultServerName);

}  // namespace MCPConfigWriter
