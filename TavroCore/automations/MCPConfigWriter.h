// Enters this server into the configuration file of an agent's client, and leaves what else the file holds as it is.
// In JSON it is the key mcpServers.<name> with an object {"command": ...}; in TOML the table
//
//   [mcp_servers.<name>]
//   command = "<command>"
//   args = []
//
// Before an existing file changes it is copied to its backup, which nobody may read who may not read the file: these
// files hold tokens. Files are replaced as a whole and keep their permissions; a new one is the owner's alone.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace MCPConfigWriter {

inline constexpr const char* defaultServerName = "tavro";

enum class Result { added, updated };

/// What a merge makes of a file. A caller who wants to see it first asks for this, and then for `write`.
struct Merge {
  Result result = Result::added;
  std::optional<std::string> before;  // nothing: there is no such file yet
  std::string after;
};

/// Writes what was shown. Throws Error, and keeps the file, when it isn't any more what it was before, or can't be
/// written. A failure of the backup is passed over.
Result write(const std::filesystem::path& at, const Merge& merge);

/// False also for a file that can't be read.
bool jsonHasServer(const std::filesystem::path& at, std::string_view name = defaultServerName);
/// An entry of that name is replaced whole. The file comes out indented, its keys sorted; an empty one counts as an
/// empty object. Throws Error when it holds anything but a JSON object, or what wouldn't survive being written anew (a
/// key twice in one object, a number of more digits than can be kept), or when it can't be read.
Merge mergedJSON(const std::filesystem::path& at, const std::string& command,
                 const std::string& name = defaultServerName);
/// The same, written.
Result mergeJSON(const std::filesystem::path& at, const std::string& command,
                 const std::string& name = defaultServerName);

bool tomlHasServer(const std::filesystem::path& at, std::string_view name = defaultServerName);
/// Of an existing section only the `command` line changes. `command` is entered as it is, without escaping. Line breaks
/// stay what they are, LF or CR LF. Throws Error when it isn't UTF-8 or ends within a value, when it writes the table
/// or its `command` in another way than above (a second one would make the file invalid), or when it can't be read.
Merge mergedTOML(const std::filesystem::path& at, const std::string& command,
                 const std::string& name = defaultServerName);
/// The same, written.
Result mergeTOML(const std::filesystem::path& at, const std::string& command,
                 const std::string& name = defaultServerName);

/// <file>.tavro-backup
std::filesystem::path backup(const std::filesystem::path& at);

}  // namespace MCPConfigWriter
