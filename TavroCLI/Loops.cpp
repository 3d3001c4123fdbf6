#include "TavroCLI/Loops.h"

#include <filesystem>

#include "Platform/Files.h"
#include "Platform/Json.h"
#include "Platform/Screens.h"
#include "Platform/Text.h"
#include "TavroCLI/ExitStatus.h"
#include "TavroCLI/Nearest.h"
#include "TavroCore/automations/AutomationDraft.h"
#include "TavroCore/automations/ClientCommand.h"
#include "TavroCore/automations/LoopFiles.h"
#include "TavroCore/automations/LoopRun.h"
#include "TavroCore/automations/VendryEngine.h"
#include "TavroCore/harness/LoopName.h"

namespace {

/// A timer counts from when it was loaded, which is right after its property list was written.
std::optional<Dates::Instant> loadedAt(const Automation& automation) {
  std::error_code failure;
  const auto written = std::filesystem::last_write_time(VendryEngine::plistURL(automation.name), failure);
  if (failure) return std::nullopt;
  return std::chrono::time_point_cast<Dates::Instant::duration>(std::chrono::file_clock::to_sys(written));
}

bool isProgram(const std::filesystem::path& directory, const std::string& name) {
  return Files::isExecutable(directory / name);
}

}  // namespace

namespace Loops {

Automation get(const std::string& name) {
  auto automation = VendryEngine::find(name);
  if (!automation) throw CommandError(ExitStatus::failed, absence(name));
  return std::move(*automation);
}

std::string absence(const std::string& name) {
  std::vector<std::string> known;
  for (const auto& each : VendryEngine::list()) known.push_back(each.name);
  return "no automation \"" + name + "\"" + Nearest::hint(name, known);
}

std::optional<std::string> fault(const std::string& name) {
  if (!isSafeLoopName(name) || VendryEngine::find(name)) return std::nullopt;
  const auto record = LoopFiles(name).record;
  if (!Files::exists(record)) return std::nullopt;
  const auto other = VendryEngine::read(record);
  return other ? "its record names another, " + other->name : "its record can't be read";
}

std::map<std::string, std::string> faults() {
  std::map<std::string, std::string> found;
  for (const auto& name : Files::listIfPossible(LoopFiles::automations())) {
    if (const auto what = fault(name)) found[name] = *what;
  }
  return found;
}

std::string work(const Automation& automation) {
  const bool isCommand = automation.kind != Automation::Kind::agent && automation.command;
  const bool isOurCall = isCommand && automation.command->starts_with(AutomationDraft::toolCommand("", ""));
  return isCommand && !isOurCall ? *automation.command : automation.workSummary();
}

bool hasTimer(const Automation& automation) { return loadedAt(automation).has_value(); }

std::optional<Dates::Instant> nextRun(const Automation& automation) {
  const auto loaded = loadedAt(automation);
  if (!automation.enabled || !loaded) return std::nullopt;
  return automation.schedule.next(*loaded, Dates::now());
}

std::optional<std::string> obstacle(const Automation& automation) {
  const auto record = VendryEngine::rawObject(automation.name);
  if (!record || automation.kind != Automation::Kind::agent) return std::nullopt;
  const LoopRun run(automation.name, *record);
  const auto program = ClientCommand::of(run, ClientCommand::Place::session).front();
  const auto places = Text::split(run.searchPath, ':', /*dropEmpty=*/true);
  if (std::none_of(places.begin(), places.end(), [&](const auto& place) { return isProgram(place, program); }))
    return "there is no program " + program + " on the path of runs; install it, or name another with client=";
  if (run.isVisible && Screens::all().empty())
    return "it runs in a window, and there is no screen; background=true lets it run unseen";
  return std::nullopt;
}

}  // namespace Loops
