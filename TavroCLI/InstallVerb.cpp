#include "TavroCLI/InstallVerb.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <string_view>

#include "Platform/Bundle.h"
#include "Platform/Environment.h"
#include "Platform/Files.h"
#include "Platform/Json.h"
#include "Platform/Text.h"
#include "TavroCLI/Display.h"
#include "TavroCLI/Nearest.h"
#include "TavroCLI/Owner.h"
#include "TavroCLI/Terminal.h"
#include "TavroCore/automations/AgentClients.h"
#include "TavroCore/automations/MCPConfigWriter.h"

namespace fs = std::filesystem;

namespace {

using MCPConfigWriter::Merge;
using MCPConfigWriter::Result;

[[noreturn]] void wrong(const std::string& text) { throw CommandError(ExitStatus::wrongUsage, text); }

// ---- The clients.

struct Client {
  std::string id;
  std::optional<fs::path> file;  // nothing: we don't know where it keeps its servers
};

/// The directory that the variable names, or the one that stands for it.
fs::path directory(const char* variable, const fs::path& otherwise) {
  const fs::path named = Environment::value(variable).value_or("");
  return named.is_absolute() ? named : otherwise;
}

std::vector<Client> clients() {
  const fs::path home = Environment::home();
  std::vector<Client> all = {
      {"claude", home / ".claude.json"},
      {"codex", directory("CODEX_HOME", home / ".codex") / "config.toml"},
      {"agy", home / ".gemini/antigravity/mcp_config.json"},
      {"claude-desktop", directory("XDG_CONFIG_HOME", home / ".config") / "Claude/claude_desktop_config.json"},
  };
  for (const auto& id : AgentClients::ids()) {
    if (std::none_of(all.begin(), all.end(), [&](const Client& client) { return client.id == id; }))
      all.push_back({id, std::nullopt});
  }
  return all;
}

fs::path fileOf(const std::string& client) {
  std::vector<std::string> known;
  for (const auto& each : clients()) {
    if (each.id == client && each.file) return *each.file;
    if (each.id == client) wrong("where " + client + " keeps its servers isn't known; --file PATH names the file");
    known.push_back(each.id);
  }
  const auto hint = Nearest::hint(client, known);
  wrong("unknown client: " + client + (hint.empty() ? "." : hint) + " There is " + Text::join(known, ", ") +
        "; --file PATH names the file of any other");
}

// ---- The formats.

struct Format {
  decltype(&MCPConfigWriter::jsonHasServer) hasServer;
  decltype(&MCPConfigWriter::mergedJSON) merged;
  decltype(&MCPConfigWriter::mergeJSON) merge;
};

bool isTOML(const fs::path& file) { return Text::lowercase(file.extension().string()) == ".toml"; }

const Format& formatOf(const fs::path& file) {
  using namespace MCPConfigWriter;
  static const Format json{jsonHasServer, mergedJSON, mergeJSON}, toml{tomlHasServer, mergedTOML, mergeTOML};
  return isTOML(file) ? toml : json;
}

/// The path of the server, as it can stand in that file.
std::string commandFor(const fs::path& file) {
  const fs::path server = Bundle::url() / "tavro-mcp";
  if (!Files::exists(server)) throw Error("there is no server to enter: " + server.string() + " is missing");
  const std::string path = server.string();
  const bool isPlain = std::none_of(path.begin(), path.end(), [](char c) {
    return c == '"' || c == '\\' || static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
  });
  if (!Text::isValidUTF8(path) || (isTOML(file) && !isPlain))
    throw Error("the server's path can't stand in " + file.string() + "; move the programs to a plainer one: " + path);
  return path;
}

// ---- What changes.

/// As the file would read if only its layout were ours, so that layout is no difference.
std::string inOurLayout(const fs::path& file, const std::string& text) {
  const auto object = isTOML(file) ? std::nullopt : JsonText::parseObject(text);
  return object ? JsonText::writePretty(*object) : text;
}

/// A comma or a line break more is no difference either: the line above an added one gets it, whatever it holds.
std::string_view core(std::string_view line) {
  if (line.ends_with('\r')) line.remove_suffix(1);
  if (line.ends_with(',')) line.remove_suffix(1);
  return line;
}

/// A line that goes, without what may be secret in it: an entry that is replaced may hold tokens.
std::string veiled(std::string_view line) {
  const std::string_view text = Text::trimBlanks(core(line));
  const bool isFrame = text.find_first_not_of("[]{}") == text.npos || text.ends_with('{') || text.ends_with('[');
  if (isFrame || text.starts_with("\"command\"") || text.starts_with("command")) return std::string(core(line));
  const auto value = line.find_first_of(":=");
  const auto indent = line.find_first_not_of(" \t");
  return std::string(line.substr(0, value == line.npos ? indent : value + 1)) + " …";
}

std::vector<std::string> linesOf(std::string_view text) {
  if (text.ends_with('\n')) text.remove_suffix(1);
  return text.empty() ? std::vector<std::string>{} : Text::split(text, '\n');
}

/// The one stretch in which the texts differ.
std::string difference(const std::string& before, const std::string& after) {
  const auto same = [](const auto& a, const auto& b) { return core(a) == core(b); };
  const auto old = linesOf(before), now = linesOf(after);
  const auto [oldBegin, nowBegin] = std::mismatch(old.begin(), old.end(), now.begin(), now.end(), same);
  const auto [oldEnd, nowEnd] = std::mismatch(old.rbegin(), std::make_reverse_iterator(oldBegin), now.rbegin(),
                                              std::make_reverse_iterator(nowBegin), same);
  std::string text;
  for (auto line = oldBegin; line != oldEnd.base(); ++line) text += "- " + veiled(*line) + "\n";
  for (auto line = nowBegin; line != nowEnd.base(); ++line) text += "+ " + std::string(core(*line)) + "\n";
  return text;
}

// ---- The verb.

struct Installation {
  std::string client, file, name = MCPConfigWriter::defaultServerName;
  bool dryRun = false;
  bool json = false;

  ExitStatus run() const {
    checkName();
    if (client.empty() && file.empty()) return list();
    if (!client.empty() && !file.empty()) wrong("give CLIENT or --file, not both");
    Owner::require("install");
    return enter(file.empty() ? fileOf(client) : fs::absolute(Environment::expandTilde(file)));
  }

 private:
  void checkName() const {
    const bool isBareKey = !name.empty() && std::all_of(name.begin(), name.end(), [](char c) {
      return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
    });
    if (!isBareKey) wrong("a server's name is of letters from a to z, digits, - and _, not \"" + name + "\"");
  }

  ExitStatus list() const {
    std::vector<OrderedJson> records;
    std::vector<Display::Cells> rows;
    for (const auto& [id, path] : clients()) {
      const bool isEntered = path && formatOf(*path).hasServer(*path, name);
      records.push_back({{"client", id}, {"entered", isEntered}, {"file", nullptr}});
      if (path) records.back()["file"] = path->string();
      rows.push_back({{id, Terminal::Style::bold},
                      {isEntered ? "entered"
                       : path    ? "not entered"
                                 : "unknown",
                       isEntered ? Terminal::Style::green : Terminal::Style::plain},
                      {path ? path->string() : "name it with --file PATH"}});
      if (!path) records.back()["entered"] = nullptr;
    }
    json ? Display::list(records) : Display::list({"CLIENT", "STATE", "FILE"}, rows);
    return ExitStatus::done;
  }

  ExitStatus enter(const fs::path& path) const {
    const std::string command = commandFor(path);
    const Merge merge = formatOf(path).merged(path, command, name);
    const std::string before = inOurLayout(path, merge.before.value_or(""));
    const std::string after = inOurLayout(path, merge.after);
    const bool isThere = merge.before && before == after;
    if (!isThere && !dryRun) formatOf(path).merge(path, command, name);
    if (dryRun && !json) Terminal::printForeign(difference(before, after));
    tell(path, command, merge, isThere);
    return ExitStatus::done;
  }

  void tell(const fs::path& path, const std::string& command, const Merge& merge, bool isThere) const {
    const std::string result = isThere ? "unchanged" : merge.result == Result::added ? "added" : "updated";
    const bool wasWritten = !isThere && !dryRun;
    const fs::path copy = MCPConfigWriter::backup(path);
    const bool hasBackup = wasWritten && merge.before && Files::readIfPossible(copy) == merge.before;
    if (json) {
      OrderedJson record = {{"result", result},   {"server", name},    {"file", path.string()},
                            {"command", command}, {"backup", nullptr}, {"written", wasWritten}};
      if (hasBackup) record["backup"] = copy.string();
      return Display::show(record);
    }
    Terminal::say(isThere  ? name + " is in " + path.string() + " already: " + command
                  : dryRun ? "nothing is written; " + name + " would be " + result + " in " + path.string()
                           : result + " " + name + " in " + path.string() + ": " + command);
    if (hasBackup) Terminal::say("the file as it was: " + copy.string());
    if (wasWritten && merge.before && !hasBackup) Terminal::say("the file as it was could not be kept as a backup");
  }
};

}  // namespace

namespace InstallVerb {

Work install(CLI::App& command) {
  auto installation = std::make_shared<Installation>();
  command.add_option("CLIENT", installation->client,
                     "The client to tell; without it, all clients with their files and whether they know this server");
  command.add_option("--file", installation->file, "Another client's file: .toml is TOML, everything else JSON");
  command.add_option("--name", installation->name, "What the client calls the server")->capture_default_str();
  command.add_flag("--dry-run", installation->dryRun, "Show the lines that would change, and write nothing");
  command.add_flag("--json", installation->json, "Print JSON");
  return [installation] { return installation->run(); };
}

}  // namespace InstallVerb
