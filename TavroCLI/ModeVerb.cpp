// `tavro mode`: the autonomy slider, one field of config.json.
#include <algorithm>
#include <memory>

#include "Platform/Files.h"
#include "Platform/Json.h"
#include "TavroCLI/Display.h"
#include "TavroCLI/Owner.h"
#include "TavroCLI/PolicyVerbs.h"
#include "TavroCLI/Terminal.h"
#include "TavroCLI/Usage.h"
#include "TavroCore/harness/ConfigDir.h"
#include "TavroCore/harness/HarnessConfig.h"
#include "TavroCore/harness/Timestamps.h"

namespace {

AutonomyMode parsed(const std::string& text) {
  if (const auto mode = AutonomyModes::fromRawValue(text)) return *mode;
  std::vector<std::string> known;
  for (const AutonomyMode mode : AutonomyModes::allCases) known.emplace_back(AutonomyModes::rawValue(mode));
  Usage::unknown("mode", text, known);
}

/// Would saving the settings write everything that this text holds? It wouldn't for a field that we don't know, one
/// that we can't read, and a text that is no JSON at all.
bool isKeptWhole(std::string_view text) {
  const auto object = JsonText::parseObject(text);
  if (!object) return false;
  const Json saved = HarnessConfig::decode(*object).encode();
  return std::all_of(object->items().begin(), object->items().end(), [&](const auto& field) {
    return saved.contains(field.key()) && saved[field.key()] == field.value();
  });
}

/// Puts a copy beside config.json when saving would lose something of it.
void keepWhatWouldBeLost() {
  const auto file = ConfigDir::url() / "config.json";
  const auto text = Files::read(file);
  if (!text || isKeptWhole(*text)) return;
  const std::string stem = file.string() + ".before-" + Timestamps::now();
  std::string copy = stem;
  for (int number = 2; !Files::createNew(copy, *text); ++number) copy = stem + "-" + std::to_string(number);
  Terminal::say("config.json holds settings that this version can't read and won't write; the old file is kept as " +
                copy);
}

std::string described(AutonomyMode mode) {
  return std::string(AutonomyModes::displayName(mode)) + ": " + std::string(AutonomyModes::blurb(mode)) + "\n";
}

struct Change {
  std::string mode;
  bool json = false;
  Owner::Consent consent;

  ExitStatus show() const {
    const AutonomyMode current = HarnessConfig::load().autonomyMode;
    if (json) {
      Display::show({{"mode", AutonomyModes::rawValue(current)}, {"meaning", AutonomyModes::blurb(current)}});
      return ExitStatus::done;
    }
    Display::list({"MODE", "MEANING"}, {{{std::string(AutonomyModes::rawValue(current)), Terminal::Style::bold},
                                         {std::string(AutonomyModes::blurb(current))}}});
    return ExitStatus::done;
  }

  ExitStatus apply() const {
    const AutonomyMode wanted = parsed(mode);
    const AutonomyMode current = HarnessConfig::load().autonomyMode;
    if (wanted == current) {
      Terminal::say("the mode is " + mode + " already");
      return ExitStatus::done;
    }
    if (!consent.ask("now  " + described(current) + "then " + described(wanted), "Change the mode to " + mode + "?")) {
      Terminal::say("the mode stays " + std::string(AutonomyModes::rawValue(current)));
      return ExitStatus::failed;
    }
    keepWhatWouldBeLost();
    HarnessConfig config = HarnessConfig::load();  // afresh: the question may have stood there for hours
    config.autonomyMode = wanted;
    config.saveOrThrow();
    return ExitStatus::done;
  }
};

}  // namespace

namespace PolicyVerbs {

Work mode(CLI::App& command) {
  auto change = std::make_shared<Change>();
  command.add_option("MODE", change->mode, "panic, copilote or yolo; without it, the present mode is shown");
  command.add_flag("--json", change->json, "Print the present mode as JSON");
  change->consent.declare(command, "mode");
  return [change] {
    if (!change->mode.empty()) change->consent.requireOwner();
    ConfigDir::ensure();
    return change->mode.empty() ? change->show() : change->apply();
  };
}

}  // namespace PolicyVerbs
