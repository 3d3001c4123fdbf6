#include "TavroCore/automations/MCPConfigWriter.h"

#include <algorithm>
#include <set>
#include <vector>

#include "Platform/Error.h"
#include "Platform/Files.h"
#include "Platform/Json.h"
#include "Platform/Text.h"
#include "TavroCore/automations/TomlOutline.h"

namespace fs = std::filesystem;

namespace {

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

// ---- JSON.

/// The value of a number's text: its digits without zeros at either end, and the power of ten behind them.
struct Decimal {
  bool isNegative = false;
  std::string digits;
  long long power = 0;
  bool operator==(const Decimal&) const = default;

  explicit Decimal(std::string_view text) : isNegative(text.starts_with('-')) {
    const std::string_view mantissa = text.substr(0, text.find_first_of("eE"));
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    std::ranges::copy_if(mantissa, std::back_inserter(digits), isDigit);
    const auto last = digits.find_last_not_of('0');
    const auto zeros = static_cast<long long>(digits.size() - last - 1);
    digits.erase(last + 1);  // all of them when there is none but zeros
    if (digits.empty()) return;
    power = exponent(text.substr(mantissa.size())) + zeros;
    if (const auto point = mantissa.find('.'); point != mantissa.npos)
      power -= static_cast<long long>(mantissa.size() - point - 1);
    digits.erase(0, digits.find_first_not_of('0'));
  }

 private:
  static long long exponent(std::string_view text) {
    constexpr long long most = 1'000'000'000'000;  // far above what a number of ours can have
    return text.empty() ? 0 : std::clamp(Text::parseInteger(text.substr(1)).value_or(most), -most, most);
  }
};

/// Of a text that is JSON: is each number still the same once it has been read and written?
bool keepsNumbers(std::string_view json) {
  bool isText = false;
  for (std::size_t at = 0; at < json.size(); ++at) {
    const char c = json[at];
    if (c == '"') isText = !isText;
    if (isText && c == '\\') ++at;
    if (isText || (c != '-' && (c < '0' || c > '9'))) continue;
    const auto end = std::min(json.find_first_not_of("+-.0123456789Ee", at), json.size());
    const auto number = json.substr(at, end - at);
    if (Decimal(number) != Decimal(Json::parse(number).dump())) return false;
    at = end - 1;
  }
  return true;
}

/// What our reader would lose of a text that is JSON; an empty text when it keeps everything.
std::string lossOf(const std::string& text) {
  if (!keepsNumbers(text)) return "it holds a number of more digits than can be kept, which would be rounded";
  std::string loss;
  std::vector<std::set<std::string>> keys;  // of the objects that are open
  const auto look = [&](int, Json::parse_event_t event, Json& parsed) {
    if (event == Json::parse_event_t::object_start) keys.emplace_back();
    if (event == Json::parse_event_t::object_end) keys.pop_back();
    if (event == Json::parse_event_t::key && !keys.back().insert(parsed.get<std::string>()).second)
      loss = "it holds the key \"" + parsed.get<std::string>() + "\" twice in one object, and only one would stay";
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

constexpr std::string_view servers = "mcp_servers";

std::string serverOf(std::string_view name) { return std::string(servers) + "." + std::string(name); }

/// Puts `text` in the place of what a line says.
void rewrite(std::string& line, const std::string& text) { line = text + (line.ends_with('\r') ? "\r" : ""); }

using Statement = TomlOutline::Statement;

bool isBelow(const std::string& path, const std::string& parent) { return path.starts_with(parent + "."); }

/// Does it give the server, or its command, in a form that isn't ours: with a comment behind the header, as a dotted or
/// quoted key, in an inline table? Ours beside it would make the file invalid. Tables below the server's may be there.
bool needsAHand(const Statement& statement, std::string_view text, const std::string& server) {
  const std::string path = statement.path(), command = server + ".command";
  if (path == server) return text != "[" + server + "]";
  if (path == command) return !text.starts_with("command") || statement.lines > 1;
  if (isBelow(path, command) || (path == servers && !statement.isHeader)) return true;
  const bool isKeyAbove = !statement.isHeader && (statement.table.empty() || statement.table == servers);
  return isKeyAbove && isBelow(path, server);
}

void enterCommand(std::vector<std::string>& lines, std::size_t header, const Statement* command,
                  const std::string& line) {
  if (command) return rewrite(lines[command->line], line);
  const std::string added = line + (lines[header].ends_with('\r') ? "\r" : "");
  lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(header) + 1, added);
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

Result write(const fs::path& at, const Merge& merge) {
  if (at.has_parent_path()) Files::createDirectories(at.parent_path());
  if (merge.before) writeBackup(at, *merge.before);
  if (Files::read(at) != merge.before) refuse(at, "another program has changed it meanwhile; try again");
  Files::replace(at, merge.after);
  return merge.result;
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
  const std::string header = "[" + serverOf(name) + "]";
  return std::ranges::any_of(lines, [&](const auto& line) { return meat(line) == header; });
}

Merge mergedTOML(const fs::path& at, const std::string& command, const std::string& name) {
  const std::string server = serverOf(name), header = "[" + server + "]", line = "command = \"" + command + "\"";
  Merge merge{.before = Files::read(at), .after = newFile(header, line)};
  if (!merge.before) return merge;
  if (!Text::isValidUTF8(*merge.before)) refuse(at, "it isn't UTF-8, and so no TOML");
  auto lines = Text::split(*merge.before, '\n');
  const auto outline = TomlOutline::of(lines);
  if (!outline) refuse(at, "an array or a text in it has no end");
  const Statement *section = nullptr, *old = nullptr;
  for (const auto& each : *outline) {
    if (needsAHand(each, meat(lines[each.line]), server))
      refuse(at, "line " + std::to_string(each.line + 1) + " gives " + server +
                     " in a form that only a hand can edit. What it needs is " + line);
    if (!section && each.path() == server) section = &each;
    if (!old && each.path() == server + ".command") old = &each;
  }
  merge.result = section ? Result::updated : Result::added;
  if (section) enterCommand(lines, section->line, old, line);
  merge.after = section ? Text::join(lines, "\n") : withSection(*merge.before, header, line);
  return merge;
}

Result mergeTOML(const fs::path& at, const std::string& command, const std::string& name) {
  return write(at, mergedTOML(at, command, name));
}

}  // namespace MCPConfigWriter
