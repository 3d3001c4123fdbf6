#include "TavroCore/automations/MCPConfigWriter.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <vector>

#include "Platform/Error.h"
#include "Platform/Files.h"
#include "Platform/Json.h"
#include "Platform/Text.h"

namespace fs = std::filesystem;

namespace {

using MCPConfigWriter::Merge;
using MCPConfigWriter::Result;

// ---- Writing.

/// An older backup may be open to more people than the file is by now.
void writeBackup(const fs::path& at, const std::string& before) noexcept try {
  const auto mode = static_cast<mode_t>(fs::status(at).permissions() & fs::perms::all);
  const fs::path copy = MCPConfigWriter::backup(at);
  if (Files::exists(copy)) Files::setMode(copy, mode);
  Files::replace(copy, before, mode);
} catch (const std::exception&) {
}

[[noreturn]] void refuse(const fs::path& at, const std::string& why) {
  throw Error(at.string() + " is left as it is: " + why);
}

Result write(const fs::path& at, const Merge& merge) {
  if (at.has_parent_path()) Files::createDirectories(at.parent_path());
  if (merge.before) writeBackup(at, *merge.before);
  if (Files::read(at) != merge.before) refuse(at, "another program has changed it meanwhile; try again");
  Files::replace(at, merge.after);
  return merge.result;
}

// ---- JSON.

/// What our reader would lose of a text that is JSON; an empty text when it keeps everything.
std::string lossOf(const std::string& text) {
  std::string loss;
  std::vector<std::set<std::string>> keys;  // of the objects that are open
  const auto look = [&](int, Json::parse_event_t event, Json& parsed) {
    if (event == Json::parse_event_t::object_start) keys.emplace_back();
    if (event == Json::parse_event_t::object_end) keys.pop_back();
    if (event == Json::parse_event_t::key && !keys.back().insert(parsed.get<std::string>()).second)
      loss = "it holds the key \"" + parsed.get<std::string>() + "\" twice in one object, and only one would stay";
    if (event == Json::parse_event_t::value && parsed.is_number_float() && std::fabs(parsed.get<double>()) >= 0x1p63)
      loss = "it holds a number above 64 bits, which would be rounded";
    return true;
  };
  [[maybe_unused]] const Json seen = Json::parse(text, look, false);
  return loss;
}

Json rootOf(const fs::path& at, const std::string& text) {
  if (Text::trim(text).empty()) return Json::object();
  auto root = JsonText::parseObject(text);
  if (!root) refuse(at, "it doesn't hold a JSON object (comments and trailing commas are none of JSON's)");
  if (const auto loss = lossOf(text); !loss.empty()) refuse(at, loss);
  return std::move(*root);
}

// ---- TOML.

/// A line as it counts: without blanks and tabs at its ends, nor the first half of a CR LF.
std::string_view meat(std::string_view line) {
  if (line.ends_with('\r')) line.remove_suffix(1);
  return Text::trimBlanks(line);
}

std::string headerOf(std::string_view name) { return "[mcp_servers." + std::string(name) + "]"; }

/// Not "command_timeout", say.
bool isCommand(std::string_view line) {
  constexpr std::string_view key = "command";
  const std::string_view text = meat(line);
  return text.starts_with(key) &&
         (text.size() == key.size() || std::string_view(" \t=").find(text[key.size()]) != std::string_view::npos);
}

/// Puts `text` in the place of what a line says.
void rewrite(std::string& line, const std::string& text) { line = text + (line.ends_with('\r') ? "\r" : ""); }

void enterCommand(std::vector<std::string>& lines, std::vector<std::string>::iterator header, const std::string& line) {
  const auto end = std::find_if(header + 1, lines.end(), [](const auto& each) { return meat(each).starts_with('['); });
  const auto command = std::find_if(header + 1, end, isCommand);
  if (command != end) return rewrite(*command, line);
  const std::string added = line + (header->ends_with('\r') ? "\r" : "");
  lines.insert(header + 1, added);
}

std::string withSection(std::string text, const std::string& header, const std::string& line) {
  const auto firstBreak = text.find('\n');
  const bool hasCR = firstBreak != std::string::npos && firstBreak > 0 && text[firstBreak - 1] == '\r';
  const std::string lineBreak = hasCR ? "\r\n" : "\n";
  if (!text.empty() && !text.ends_with('\n')) text += lineBreak;
  return text + lineBreak + header + lineBreak + line + lineBreak + "args = []" + lineBreak;
}

std::string newFile(const std::string& header, const std::string& line) {
  return header + "\n" + line + "\nargs = []\n";
}

/// A key or header as TOML reads it, if none of its parts needs its quotes.
std::string squeezed(std::string_view text) {
  std::string result;
  std::copy_if(text.begin(), text.end(), std::back_inserter(result),
               [](char c) { return std::string_view(" \t\r\"'").find(c) == std::string_view::npos; });
  return result;
}

/// The number of the line that gives the server in a form that isn't ours: with a comment behind the header, as a
/// dotted key, in an inline table; 0 when there is none.
std::size_t otherForm(const std::vector<std::string>& lines, const std::string& name) {
  const std::string servers = "mcp_servers", server = servers + "." + name;
  std::string table;
  for (std::size_t number = 1; number <= lines.size(); ++number) {
    const std::string line = squeezed(lines[number - 1]);
    if (line.starts_with('[')) {
      table = line.substr(1, line.find(']') - 1);
      if (table == server) return number;
    } else if (const auto end = line.find('='); end != line.npos && (table.empty() || table == servers)) {
      const std::string key = (table.empty() ? "" : table + ".") + line.substr(0, end);
      if (key == servers || key == server || key.starts_with(server + ".")) return number;
    }
  }
  return 0;
}

}  // namespace

namespace MCPConfigWriter {

fs::path backup(const fs::path& at) { return at.string() + ".tavro-backup"; }

bool jsonHasServer(const fs::path& at, std::string_view name) {
  const auto text = Files::readIfPossible(at);
  const auto root = text ? JsonText::parseObject(*text) : std::nullopt;
  if (!root) return false;
  const auto servers = root->find("mcpServers");
  return servers != root->end() && servers->is_object() && servers->contains(std::string(name));
}

Merge mergedJSON(const fs::path& at, const std::string& command, const std::string& name) {
  Merge merge{.before = Files::read(at), .after = {}};
  Json root = rootOf(at, merge.before.value_or(""));
  Json& servers = root["mcpServers"];
  if (!servers.is_object()) servers = Json::object();
  if (servers.contains(name)) merge.result = Result::updated;
  servers[name] = {{"command", command}};
  const bool hadNoBreak = merge.before && !merge.before->empty() && !merge.before->ends_with('\n');
  merge.after = JsonText::writePretty(root) + (hadNoBreak ? "" : "\n");
  return merge;
}

Result mergeJSON(const fs::path& at, const std::string& command, const std::string& name) {
  return write(at, mergedJSON(at, command, name));
}

bool tomlHasServer(const fs::path& at, std::string_view name) {
  const auto text = Files::readIfPossible(at);
  if (!text || !Text::isValidUTF8(*text)) return false;
  const auto lines = Text::split(*text, '\n');
  return std::any_of(lines.begin(), lines.end(), [&](const auto& line) { return meat(line) == headerOf(name); });
}

Merge mergedTOML(const fs::path& at, const std::string& command, const std::string& name) {
  const std::string header = headerOf(name), line = "command = \"" + command + "\"";
  Merge merge{.before = Files::read(at), .after = newFile(header, line)};
  if (!merge.before) return merge;
  if (!Text::isValidUTF8(*merge.before)) refuse(at, "it isn't UTF-8, and so no TOML");
  auto lines = Text::split(*merge.before, '\n');
  const auto found = std::find_if(lines.begin(), lines.end(), [&](const auto& each) { return meat(each) == header; });
  if (found != lines.end()) {
    enterCommand(lines, found, line);
    merge.result = Result::updated;
    merge.after = Text::join(lines, "\n");
  } else if (const auto number = otherForm(lines, name)) {
    refuse(at, "line " + std::to_string(number) + " gives mcp_servers." + name +
                   " in a form that only a hand can edit. What it needs is " + line);
  } else {
    merge.after = withSection(*merge.before, header, line);
  }
  return merge;
}

Result mergeTOML(const fs::path& at, const std::string& command, const std::string& name) {
  return write(at, mergedTOML(at, command, name));
}

}  // namespace MCPConfigWriter
