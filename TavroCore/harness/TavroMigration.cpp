#include "TavroCore/harness/TavroMigration.h"

#include <string>

#include "Platform/Environment.h"
#include "Platform/Files.h"
#include "Platform/Json.h"
#include "Platform/Text.h"
#include "TavroCore/harness/ConfigDir.h"
#include "TavroCore/harness/LoopName.h"
#include "TavroCore/harness/RecordFields.h"

namespace {

using std::filesystem::path;

constexpr const char* marker = ".migrated";

constexpr std::string_view gitignore =
    "# Tavro home. Version only your automations/ - everything else is\n"
    "# per-machine runtime, databases, the pending queue, or secrets.\n"
    "/*\n"
    "!/automations/\n"
    "!/.gitignore";

/// A step that fails costs its own item only.
template <typename Step>
void attempt(const Step& step) {
  try {
    step();
  } catch (const std::exception&) {
  }
}

void copyIfMissing(const path& from, const path& to) {
  if (Files::exists(from) && !Files::exists(to)) Files::copy(from, to);
}

void migrateDataStore(const path& home) {
  const path legacy = ConfigDir::legacyURL();
  for (const std::string& name : Files::listIfPossible(legacy)) {
    if (name == marker) continue;  // a finished migration writes it last; it can't come early by a copy
    attempt([&] { copyIfMissing(legacy / name, home / name); });
  }
}

/// The enabled flag moves out of the definition, which its owner may put under version control, into the
/// state of this machine. A failure to write it fails the whole loop: without it a paused one would be on again.
void migrateRuntime(const path& scheduler, const path& runtime, const std::string& name, bool enabled) {
  Files::createDirectories(runtime / "state");
  const auto text = Files::readIfPossible(scheduler / "state" / (name + ".json"));
  Json state = JsonText::parseObject(text.value_or("")).value_or(Json::object());
  state["enabled"] = enabled;
  Files::replace(runtime / "state" / (name + ".json"), JsonText::write(state));
  attempt([&] {
    Files::createDirectories(runtime / "logs");
    copyIfMissing(scheduler / "logs" / (name + ".log"), runtime / "logs" / (name + ".log"));
  });
}

/// Gives the agent its AGENT.md, and takes from the definition what that file now holds. A failure to write it fails
/// the whole loop, which then stays in the old place alone, prompt and all.
void migrateAgent(Json& definition, const path& directory) {
  std::string instructions = RecordFields::text(definition, "prompt").value_or("");
  const std::string cwd = RecordFields::text(definition, "cwd").value_or("");
  const std::string ownDirectories = (Environment::home() / "Dev/Projects/Vendry/loops").string();
  if (cwd.starts_with(ownDirectories)) {
    if (auto bytes = Files::readIfPossible(path(cwd) / "CLAUDE.md")) {
      if (auto text = Text::decodeUTF8(std::move(*bytes))) instructions = std::move(*text);
    }
    attempt([&] { copyIfMissing(path(cwd) / "JOURNAL.md", directory / "JOURNAL.md"); });
    definition.erase("cwd");
  }
  Files::replace(directory / "AGENT.md", instructions);
  definition.erase("prompt");
}

/// loop.json comes last: with it the loop is there, and a later start passes over it.
void migrateAutomation(const path& scheduler, const path& home, const std::string& name) {
  if (!isSafeLoopName(name)) return;
  const auto text = Files::readIfPossible(scheduler / "loops" / (name + ".json"));
  auto definition = JsonText::parseObject(text.value_or(""));
  const path directory = home / "automations" / name;
  if (!definition || Files::exists(directory / "loop.json")) return;

  Files::createDirectories(directory);
  const bool enabled = RecordFields::boolean(*definition, "enabled").value_or(true);
  if (RecordFields::text(*definition, "kind").value_or("agent") == "agent") migrateAgent(*definition, directory);
  definition->erase("enabled");
  migrateRuntime(scheduler, home / ".runtime", name, enabled);
  Files::replace(directory / "loop.json", JsonText::writePretty(*definition));
}

void migrateAutomations(const path& home) {
  const path scheduler = Environment::home() / ".vendry";
  for (const std::string& entry : Files::listIfPossible(scheduler / "loops")) {
    const path file(entry);
    if (file.extension() != ".json") continue;
    attempt([&] { migrateAutomation(scheduler, home, file.stem().string()); });
  }
}

void migrate(const path& home) {
  if (Files::exists(home / marker)) return;
  attempt([&] { Files::createDirectories(home, 0700); });
  attempt([&] { migrateDataStore(home); });
  attempt([&] { migrateAutomations(home); });
  attempt([&] { Files::createNew(home / ".gitignore", gitignore); });
  attempt([&] { Files::createNew(home / marker, ""); });
}

}  // namespace

void TavroMigration::runIfNeeded() noexcept {
  attempt([] { migrate(ConfigDir::url()); });
}
