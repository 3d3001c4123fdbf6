#include "TavroCore/personal/PermissionBootstrap.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <map>
#include <string_view>
#include <thread>

#include "Platform/AppleEvents.h"
#include "Platform/EventKit.h"
#include "Platform/Files.h"
#include "Platform/Json.h"
#include "Platform/Process.h"
#include "Platform/Program.h"
#include "Platform/Text.h"
#include "TavroCore/harness/ConfigDir.h"
#include "TavroCore/personal/EventKitAccess.h"

namespace PermissionBootstrap {

namespace {

struct Application {
  const char* bundle;
  const char* name;
};

constexpr std::array<Application, 8> applications = {{
    {"com.apple.mail", "Mail"},
    {"com.apple.iCal", "Calendar"},
    {"com.apple.reminders", "Reminders"},
    {"com.apple.AddressBook", "Contacts"},
    {"com.apple.Notes", "Notes"},
    {"com.apple.MobileSMS", "Messages"},
    {"com.apple.finder", "Finder"},
    {"com.apple.systemevents", "System Events"},
}};

std::string scopeId(const Application& application) { return std::string("automation:") + application.bundle; }

// ---- The cache.

using Cache = std::map<std::string, bool>;  // by scope id

std::filesystem::path cacheFile() { return ConfigDir::url() / "autonomy-grants.json"; }

/// Whatever the file holds beside answers doesn't count.
Cache loadCache() {
  Cache cache;
  const auto object = JsonText::parseObject(Files::readIfPossible(cacheFile()).value_or(""));
  if (!object) return cache;
  for (const auto& [id, answer] : object->items())
    if (answer.is_boolean()) cache[id] = answer.get<bool>();
  return cache;
}

/// A home that can't be written costs the cache alone.
void save(const Cache& cache) {
  try {
    Files::createDirectories(ConfigDir::url());
    Files::replace(cacheFile(), JsonText::write(Json(cache)));
  } catch (const Error&) {
  }
}

/// A scope of unknown state leaves what was known of it.
void saveCache(const std::vector<ScopeResult>& results) {
  Cache cache = loadCache();
  for (const auto& result : results)
    if (result.granted) cache[result.id] = *result.granted;
  save(cache);
}

// ---- The applications.

OSStatus determine(const char* bundle, bool ask) {
  AEDesc target;
  if (const OSStatus failure = AECreateDesc(typeApplicationBundleID, bundle, target)) return failure;
  const OSStatus status = AEDeterminePermissionToAutomateTarget(target, typeWildCard, typeWildCard, ask);
  AEDisposeDesc(target);
  return status;
}

struct State {
  std::optional<bool> granted;
  std::string detail;
};

State denied() { return {false, "denied - allow in System Settings → Privacy & Security → Automation"}; }

State stateOfClosed(const std::string& id, const Cache& cache) {
  const auto answer = cache.find(id);
  if (answer == cache.end()) return {{}, "not set up yet - run Set up access"};
  return answer->second ? State{true, "allowed (granted at setup; app closed)"} : denied();
}

State stateOf(OSStatus status, const std::string& id, const Cache& cache) {
  switch (status) {
    case noErr:
      return {true, "allowed"};
    case errAEEventWouldRequireUserConsent:
      return {{}, "not yet granted"};
    case errAEEventNotPermitted:
      return denied();
    case procNotFound:
      return stateOfClosed(id, cache);
    default:
      return {{}, "unavailable (status " + std::to_string(status) + ")"};
  }
}

ScopeResult automationResult(const Application& application, bool ask, const Cache& cache) {
  const auto id = scopeId(application);
  auto [granted, detail] = stateOf(determine(application.bundle, ask), id, cache);
  return {.id = id, .label = std::string(application.name) + " (control)", .granted = granted, .detail = detail};
}

std::vector<Application> closedApplications() {
  std::vector<Application> closed;
  std::copy_if(applications.begin(), applications.end(), std::back_inserter(closed),
               [](const Application& each) { return determine(each.bundle, false) == procNotFound; });
  return closed;
}

/// Doesn't wait for `open` to end: one that hangs would hold up everything, and whether the application runs is what
/// counts.
void launchHidden(const Application& application) {
  try {
    Process::detach({.program = Platform::program("open"), .arguments = {"-g", "-j", "-b", application.bundle}});
  } catch (const Process::LaunchFailure&) {  // then it won't run, and its scope says so
  }
}

/// In real time, whatever the clock says.
void waitUntilItRuns(const Application& application) {
  using std::chrono::steady_clock;
  constexpr std::chrono::seconds patience(6);
  constexpr std::chrono::milliseconds step(150);
  const auto deadline = steady_clock::now() + patience;
  while (determine(application.bundle, false) == procNotFound && steady_clock::now() < deadline)
    std::this_thread::sleep_for(step);
}

void quit(const Application& application) {
  for (const auto& running : NSRunningApplication::runningApplications(application.bundle)) running.terminate();
}

// ---- The calendar and the reminders.

State stateOf(EKAuthorizationStatus status) {
  switch (status) {
    case EKAuthorizationStatus::notDetermined:
      return {{}, "not yet granted"};
    case EKAuthorizationStatus::restricted:
      return {false, "restricted by system policy"};
    case EKAuthorizationStatus::denied:
      return {false, "denied - allow in System Settings → Privacy & Security"};
    case EKAuthorizationStatus::fullAccess:
      return {true, "allowed"};
    case EKAuthorizationStatus::writeOnly:
      return {false, "write-only - set Full Access in System Settings → Privacy & Security → Calendars"};
  }
  return {false, "unknown status"};
}

/// Events are asked for once more where we may only write them; reminders know no such access.
bool canBeAskedFor(EKEntityType entity, EKAuthorizationStatus status) {
  return status == EKAuthorizationStatus::notDetermined ||
         (entity == EKEntityType::event && status == EKAuthorizationStatus::writeOnly);
}

void askFor(EKEntityType entity) {
  try {
    EKEventStore store;
    EventKitAccess::requestFullAccess(store, entity);
  } catch (const Error&) {  // the status tells what came of it
  }
}

ScopeResult frameworkResult(EKEntityType entity, bool prompt) {
  if (prompt && canBeAskedFor(entity, EKEventStore::authorizationStatus(entity))) askFor(entity);
  auto [granted, detail] = stateOf(EKEventStore::authorizationStatus(entity));
  const bool isEvents = entity == EKEntityType::event;
  return {.id = isEvents ? "calendar" : "reminders",
          .label = isEvents ? "Calendar (events)" : "Reminders",
          .granted = granted,
          .detail = detail};
}

/// The list that both operations give.
std::vector<ScopeResult> results(bool ask, const Cache& cache) {
  std::vector<ScopeResult> results;
  for (const auto& application : applications) results.push_back(automationResult(application, ask, cache));
  for (const auto entity : {EKEntityType::event, EKEntityType::reminder})
    results.push_back(frameworkResult(entity, ask));
  return results;
}

// ---- The text.

std::string inColumn(std::string_view label) {
  constexpr std::size_t width = 22;
  const std::string cut(Text::firstCharacters(label, width));
  return cut + std::string(width - Text::characterCount(cut), ' ');
}

std::string line(const ScopeResult& result) {
  const char* mark = !result.granted ? "❓" : *result.granted ? "✅" : "⛔";
  return std::string(mark) + " " + inColumn(result.label) + " " + result.detail;
}

OrderedJson record(const ScopeResult& result) {
  OrderedJson record = {{"id", result.id}, {"label", result.label}};
  if (result.granted) record["granted"] = *result.granted;
  record["detail"] = result.detail;
  return record;
}

}  // namespace

std::vector<ScopeResult> status() { return results(false, loadCache()); }

std::vector<ScopeResult> probe() {
  const auto launched = closedApplications();
  for (const auto& application : launched) launchHidden(application);
  for (const auto& application : launched) waitUntilItRuns(application);
  const auto found = results(true, {});  // what didn't start isn't set up, whatever was known of it
  saveCache(found);
  for (const auto& application : launched) quit(application);
  return found;
}

void remember(std::string_view application, std::optional<bool> granted) {
  const auto found = std::find_if(applications.begin(), applications.end(),
                                  [&](const Application& each) { return each.name == application; });
  if (found == applications.end()) return;
  Cache cache = loadCache();
  cache.erase(scopeId(*found));
  if (granted) cache[scopeId(*found)] = *granted;
  save(cache);
}

std::string renderText(const std::vector<ScopeResult>& results) {
  std::vector<std::string> lines;
  for (const auto& result : results) lines.push_back(line(result));
  return Text::join(lines, "\n");
}

std::string renderJSON(const std::vector<ScopeResult>& results) {
  OrderedJson records = OrderedJson::array();
  for (const auto& result : results) records.push_back(record(result));
  return JsonText::write(records);
}

}  // namespace PermissionBootstrap
