#include "TavroCLI/Loops.h"

#include <algorithm>
#include <filesystem>

#include "Platform/Files.h"
#include "TavroCLI/ExitStatus.h"
#include "TavroCLI/Nearest.h"
#include "TavroCore/automations/LoopFiles.h"
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

}  // namespace

namespace Loops {

Automation get(const std::string& name) {
  auto automation = VendryEngine::find(name);
  if (!automation) unknown(name);
  return std::move(*automation);
}

void unknown(const std::string& name) {
  std::vector<std::string> known;
  for (const auto& each : VendryEngine::list()) known.push_back(each.name);
  throw CommandError(ExitStatus::failed, "no automation \"" + name + "\"" + Nearest::hint(name, known));
}

std::vector<std::string> unreadable() {
  auto names = Files::listIfPossible(LoopFiles::automations());
  std::erase_if(names, [](const std::string& name) {
    return !isSafeLoopName(name) || !Files::exists(LoopFiles(name).record) || VendryEngine::find(name);
  });
  return names;
}

bool hasTimer(const Automation& automation) { return loadedAt(automation).has_value(); }

std::optional<Dates::Instant> nextRun(const Automation& automation) {
  const auto loaded = loadedAt(automation);
  if (!automation.enabled || !loaded) return std::nullopt;
  return automation.schedule.next(std::max(*loaded, automation.lastRun.value_or(*loaded)), Dates::now());
}

}  // namespace Loops
