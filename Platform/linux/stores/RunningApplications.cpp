#include "Platform/linux/stores/RunningApplications.h"

#include <time.h>

#include <algorithm>
#include <map>

#include "Platform/Dates.h"
#include "Platform/Desktop.h"
#include "Platform/Files.h"
#include "Platform/Json.h"
#include "Platform/linux/stores/StoreLock.h"

namespace {

using Entries = std::map<std::string, std::string>;  // name, since when

std::filesystem::path file() { return Desktop::root() / "running.json"; }

Dates::Instant systemStart() {
  timespec since = {};
  ::clock_gettime(CLOCK_BOOTTIME, &since);
  const auto now = std::chrono::time_point_cast<std::chrono::microseconds>(std::chrono::system_clock::now());
  return now - std::chrono::seconds(since.tv_sec + 1);
}

Entries load() {
  auto entries = JsonText::parseTexts(Files::readIfPossible(file()).value_or("{}")).value_or(Entries{});
  std::erase_if(entries, [start = systemStart()](const auto& entry) {
    const auto since = Dates::parseISO8601(entry.second);
    return !since || *since < start;
  });
  return entries;
}

void save(const Entries& entries) { Files::replace(file(), JsonText::writePretty(Json(entries)) + "\n"); }

std::filesystem::path lockFile() { return Desktop::root() / ".running.lock"; }

}  // namespace

std::vector<std::string> RunningApplications::names() {
  std::vector<std::string> names;
  for (const auto& [name, since] : load()) names.push_back(name);
  return names;
}

bool RunningApplications::contains(std::string_view name) {
  const auto running = names();
  return std::find(running.begin(), running.end(), name) != running.end();
}

void RunningApplications::add(const std::string& name) {
  if (contains(name)) return;  // nearly always, and without a write
  const StoreLock lock(lockFile());
  auto entries = load();
  entries.emplace(name, Dates::iso8601(Dates::now()));
  save(entries);
}

bool RunningApplications::remove(const std::string& name) {
  if (!contains(name)) return false;
  const StoreLock lock(lockFile());
  auto entries = load();
  const bool wasThere = entries.erase(name) > 0;
  if (wasThere) save(entries);
  return wasThere;
}
