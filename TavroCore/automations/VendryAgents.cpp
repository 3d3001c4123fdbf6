// Timers: the property lists of the launchd agents, and launchctl, which takes them.
#include <algorithm>
#include <limits>

#include "Platform/Environment.h"
#include "Platform/Files.h"
#include "Platform/Json.h"
#include "Platform/Process.h"
#include "Platform/Program.h"
#include "Platform/PropertyList.h"
#include "TavroCore/automations/LoopStore.h"
#include "TavroCore/automations/VendryEngine.h"
#include "TavroCore/harness/RecordFields.h"

namespace VendryEngine {
namespace {

using LoopStore::attempt;

/// The session of the user's desktop, where agents live.
std::string domain() { return "gui/" + std::to_string(Environment::userId()); }

/// Its outputs are discarded, not captured: what it starts may keep them open for good.
bool launchctl(std::vector<std::string> arguments) {
  bool isDone = false;
  attempt([&] {
    isDone = Process::run({.program = Platform::program("launchctl"),
                           .arguments = std::move(arguments),
                           .input = "",
                           .output = Process::Output::discard,
                           .errors = Process::Output::discard})
                 .status.ok();
  });
  return isDone;
}

void launchctl(const char* verb, const LoopFiles& files) { launchctl({verb, domain(), files.plist.string()}); }

std::string labelOf(const LoopFiles& files) { return files.plist.stem().string(); }

struct ScheduleKeys {
  Json& list;

  static Json at(long long hour, long long minute) { return {{"Hour", hour}, {"Minute", minute}}; }

  void operator()(const Schedule::Interval& interval) const {
    constexpr long long longest = std::numeric_limits<long long>::max() / 60;
    list["StartInterval"] = std::clamp(interval.minutes, 1LL, longest) * 60;
  }
  void operator()(const Schedule::Calendar& time) const { list["StartCalendarInterval"] = at(time.hour, time.minute); }
  void operator()(const Schedule::Hours& times) const {
    Json& all = list["StartCalendarInterval"] = Json::array();
    for (const long long hour : times.hours) all.push_back(at(hour, times.minute));
  }
};

Json propertyList(const Automation& loop, const LoopFiles& files) {
  Json list = {{"Label", labelOf(files)},
               {"ProgramArguments", {tavroBinaryForLaunchd().string(), "auto-run", loop.name}},
               {"RunAtLoad", false},
               {"ProcessType", "Interactive"},
               {"StandardOutPath", files.launchdLog.string()},
               {"StandardErrorPath", files.launchdLog.string()}};
  std::visit(ScheduleKeys{list}, loop.schedule.when);
  return list;
}

/// Null where there is none, or it can't be read.
Json storedList(const LoopFiles& files) {
  const auto bytes = Files::readIfPossible(files.plist);
  return bytes ? PropertyList::parse(*bytes).value_or(nullptr) : nullptr;
}

/// Nothing to compare counts as agreement: a paused loop has no list.
bool pointsElsewhere(const LoopFiles& files) {
  const Json list = storedList(files);
  if (!list.is_object()) return false;
  const Json& command = RecordFields::value(list, "ProgramArguments");
  return !command.is_array() || command.empty() || command.front() != tavroBinaryForLaunchd().string() ||
         RecordFields::text(list, "StandardOutPath") != files.launchdLog.string();
}

/// Is this the list of a loop of our home whose record is gone? Loops of another home have their lists there as well.
bool isOrphan(const LoopFiles& files) {
  const Json list = storedList(files);
  return !Files::exists(files.record) && list.is_object() &&
         RecordFields::text(list, "StandardOutPath") == files.launchdLog.string();
}

}  // namespace

std::filesystem::path plistURL(std::string_view name) {
  const auto files = LoopStore::named(name);
  return files ? files->plist : std::filesystem::path();
}

void writePlist(const Automation& automation) {
  const auto files = LoopStore::named(automation.name);
  if (!files) throw EngineError::noSuchLoop(automation.name);
  ensureLayout();
  Files::replace(files->plist, PropertyList::xml(propertyList(automation, *files)), 0644);
}

void loadAgent(const std::string& name) {
  unloadAgent(name);
  if (const auto files = LoopStore::named(name)) launchctl("bootstrap", *files);
}

void unloadAgent(const std::string& name) {
  if (const auto files = LoopStore::named(name)) launchctl("bootout", *files);
}

bool isAgentLoaded(const std::string& name) {
  const auto files = LoopStore::named(name);
  return files && launchctl({"print", domain() + "/" + labelOf(*files)});
}

void syncOne(const std::string& name) {
  const auto loop = find(name);
  if (!loop) throw EngineError::noSuchLoop(name);
  if (loop->enabled) {
    writePlist(*loop);
    loadAgent(name);
  } else {
    unloadAgent(name);
    attempt([&] { Files::remove(plistURL(name)); });
  }
}

void syncAll() {
  for (const auto& loop : list()) attempt([&] { syncOne(loop.name); });
}

std::vector<std::string> removeOrphans() {
  std::vector<std::string> removed;
  for (const std::filesystem::path file : Files::listIfPossible(LoopFiles::launchAgents())) {
    const std::string label = file.stem().string();
    if (file.extension() != ".plist" || !label.starts_with(LoopFiles::labelHead)) continue;
    const std::string name = label.substr(LoopFiles::labelHead.size());
    const auto files = LoopStore::named(name);
    if (!files || !isOrphan(*files)) continue;
    unloadAgent(name);
    attempt([&] { Files::remove(files->plist); });
    removed.push_back(name);
  }
  return removed;
}

bool resyncIfRelocated() {
  for (const auto& loop : list()) {
    if (!pointsElsewhere(LoopFiles(loop.name))) continue;
    syncAll();
    return true;
  }
  return false;
}

}  // namespace VendryEngine
