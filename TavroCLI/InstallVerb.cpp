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
#include "TavroCLI/ClientConfigurations.h"
#include "TavroCLI/Display.h"
#include "TavroCLI/Owner.h"
#include "TavroCLI/Terminal.h"
#include "TavroCLI/Usage.h"
#include "TavroCore/automations/MCPConfigWriter.h"
#include "TavroCore/automations/PlainText.h"

namespace fs = std::filesystem;

namespace {

using ClientConfigurations::formatOf;
using ClientConfigurations::isTOML;
using MCPConfigWriter::Merge;
using MCPConfigWriter::Result;

// ---- The clients.

fs::path fileOf(const std::string& client) {
  std::vector<std::string> known;
  for (const auto& each : ClientConfigurations::all()) {
    if (each.id == client && each.file) return *each.file;
    if (each.id == client)
      Usage::wrong("where " + client + " keeps its servers isn't known; --file PATH names the file");
    known.push_back(each.id);
  }
  Usage::unknown("client", client, known,
                 "There is " + Text::join(known, ", ") + "; --file PATH names the file of any other");
}

// ---- The server.

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

std::string_view withoutCR(std::string_view line) {
  return line.substr(0, line.size() - (line.ends_with('\r') ? 1 : 0));
}

/// A comma more is no difference either: the line above an added one gets it, whatever it holds.
std::string_view core(std::string_view line) {
  line = withoutCR(line);
  return line.substr(0, line.size() - (line.ends_with(',') ? 1 : 0));
}

/// The key of a line of ours, `"key": ...`; nothing for an element of a list.
std::string_view keyOf(std::string_view line) {
  const auto end = line.find_first_of("\\\"", 1);
  const bool isKey = line.starts_with('"') && end != line.npos && line.substr(end).starts_with("\":");
  return isKey ? line.substr(0, end + 1) : "";
}

/// A line that goes, without what may be secret in it: an entry that is replaced may hold tokens, its command too.
std::string veiled(std::string_view line) {
  const std::string_view text = Text::trimBlanks(core(line)), key = keyOf(text);
  const bool isFrame = text.find_first_not_of("[]{}") == text.npos || text.ends_with('{') || text.ends_with('[');
  if (isFrame) return std::string(withoutCR(line));
  if (text.starts_with("command")) return "command = …";  // of TOML
  return std::string(line.substr(0, line.find(text))) + std::string(key) + (key.empty() ? "…" : ": …");
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
  for (auto line = oldBegin; line != oldEnd.base(); ++line) text += "- " + Display::harmless(veiled(*line)) + "\n";
  for (auto line = nowBegin; line != nowEnd.base(); ++line) text += "+ " + Display::harmless(withoutCR(*line)) + "\n";
  return text;
}

// ---- The verb.

OrderedJson record(const ClientConfiguration& client, const std::optional<bool>& isEntered) {
  OrderedJson json = {{"client", client.id}, {"entered", nullptr}, {"file", nullptr}};
  if (isEntered) json["entered"] = *isEntered;
  if (client.file) json["file"] = client.file->string();
  return json;
}

Display::Cells row(const ClientConfiguration& client, const std::optional<bool>& isEntered) {
  using Terminal::Style;
  const Display::Cell name{client.id, Style::bold};
  if (!isEntered) return {name, {"unknown"}, {"name it with --file PATH"}};
  const Display::Cell state = *isEntered ? Display::Cell{"entered", Style::green} : Display::Cell{"not entered"};
  return {name, state, {client.file->string()}};
}

/// What entering the server comes to, or came to.
struct Entry {
  fs::path file;
  std::string server, command;
  Merge merge;
  bool isThere = false;  // and so nothing changes
  bool isWritten = false;

  std::optional<fs::path> backup() const {
    const fs::path copy = MCPConfigWriter::backup(file);
    if (!isWritten || !merge.before || Files::readIfPossible(copy) != merge.before) return std::nullopt;
    return copy;
  }

  std::string result() const { return isThere ? "unchanged" : merge.result == Result::added ? "added" : "updated"; }

  OrderedJson record() const {
    OrderedJson json = {{"result", result()}, {"server", server},  {"file", file.string()},
                        {"command", command}, {"backup", nullptr}, {"written", isWritten}};
    if (const auto copy = backup()) json["backup"] = copy->string();
    return json;
  }

  void tell() const {
    if (isThere) return Terminal::say(server + " is in " + file.string() + " already: " + command);
    if (!isWritten)
      return Terminal::say("nothing is written; " + server + " would be " + result() + " in " + file.string());
    Terminal::say(result() + " " + server + " in " + file.string() + ": " + command);
    const auto copy = backup();
    if (copy) Terminal::say("the file as it was: " + copy->string());
    if (merge.before && !copy) Terminal::say("the file as it was could not be kept as a backup");
  }
};

struct Installation {
  std::string client, file, name = MCPConfigWriter::defaultServerName;
  bool dryRun = false;
  bool json = false;

  ExitStatus run() const {
    checkName();
    if (client.empty() && file.empty()) return list();
    if (!client.empty() && !file.empty()) Usage::wrong("give CLIENT or --file, not both");
    Owner::require("install");
    return enter(file.empty() ? fileOf(client) : fs::absolute(Environment::expandTilde(file)));
  }

 private:
  void checkName() const {
    if (name.empty() || !PlainText::isPlain(name, "-_"))
      Usage::wrong("a server's name is of letters from a to z, digits, - and _, not \"" + name + "\"");
  }

  ExitStatus list() const {
    std::vector<OrderedJson> records;
    std::vector<Display::Cells> rows;
    for (const auto& each : ClientConfigurations::all()) {
      const auto isEntered = each.hasServer(name);
      records.push_back(record(each, isEntered));
      rows.push_back(row(each, isEntered));
    }
    json ? Display::list(records) : Display::list({"CLIENT", "STATE", "FILE"}, rows);
    return ExitStatus::done;
  }

  ExitStatus enter(const fs::path& path) const {
    Entry entry{.file = path, .server = name, .command = commandFor(path), .merge = {}};
    entry.merge = formatOf(path).merged(path, entry.command, name);
    const std::string before = inOurLayout(path, entry.merge.before.value_or(""));
    const std::string after = inOurLayout(path, entry.merge.after);
    entry.isThere = entry.merge.before && before == after;
    entry.isWritten = !entry.isThere && !dryRun;
    if (entry.isWritten) MCPConfigWriter::write(path, entry.merge);
    if (dryRun && !json) Terminal::print(difference(before, after));
    json ? Display::show(entry.record()) : entry.tell();
    return ExitStatus::done;
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
