#include "TavroCore/automations/LoopRun.h"

#include <cerrno>
#include <system_error>
#include <vector>

#include "Platform/Bundle.h"
#include "Platform/Environment.h"
#include "Platform/Files.h"
#include "Platform/Json.h"
#include "Platform/Text.h"
#include "TavroCore/automations/RunLog.h"
#include "TavroCore/automations/VendryEngine.h"
#include "TavroCore/harness/RecordFields.h"

namespace {

using namespace RecordFields;

std::optional<std::string> filledText(const Json& record, const char* key) {
  auto found = text(record, key);
  return found && !found->empty() ? found : std::nullopt;
}

std::string createdAtOf(const Json& record) { return JsonText::write(value(record, "createdAt")); }

long long timeLimitOf(const Json& record) {
  constexpr long long twelveHours = 43'200;
  const long long limit = integer(record, "timeoutSeconds").value_or(0);
  return limit < 1 ? twelveHours : limit;
}

/// Timers start us with next to no PATH, so the places where people install programs are named here.
std::string searchPathOfRuns() {
  auto own = Bundle::executable();
  if (own.empty()) own = VendryEngine::tavroBinaryForLaunchd();
  const auto home = Environment::home();
  std::vector<std::string> places = {own.parent_path(),
                                     home / ".local/bin",
                                     home / "bin",
                                     "/opt/homebrew/bin",
                                     "/usr/local/bin",
                                     "/usr/bin",
                                     "/bin",
                                     "/usr/sbin",
                                     "/sbin"};
  if (const auto inherited = Environment::value("PATH")) places.push_back(*inherited);
  return Text::join(places, ":");
}

}  // namespace

LoopRun::LoopRun(std::string_view name, const Json& record)
    : files(name),
      model(text(record, "model").value_or("opus")),
      client(text(record, "client").value_or("claude")),
      cwd(filledText(record, "cwd").value_or(files.directory)),
      timeLimit(timeLimitOf(record)),
      screen(integer(record, "screen")),
      isVisible(boolean(record, "visible").value_or(true)),
      effort(filledText(record, "effort")),
      isScript(text(record, "kind") == "script"),
      isDangerous(boolean(record, "dangerous").value_or(false)),
      command(text(record, "command").value_or("")),
      notifiesOnFail(boolean(record, "notifyOnFail").value_or(false)),
      searchPath(searchPathOfRuns()),
      olderPrompt_(text(record, "prompt").value_or("")),
      createdAt_(createdAtOf(record)) {}

std::string LoopRun::prompt() const {
  constexpr std::uintmax_t largest = 16 << 20;
  std::error_code failure;
  const auto size = std::filesystem::file_size(files.agent, failure);
  if (!failure && size > largest) throw FileFailure("take as a prompt", files.agent, EFBIG);
  // A file that isn't text doesn't count.
  if (auto bytes = Files::readIfPossible(files.agent)) {
    if (auto written = Text::decodeUTF8(std::move(*bytes))) return *written;
  }
  return olderPrompt_;
}

std::map<std::string, std::string> LoopRun::environment() const {
  return {{"PATH", searchPath}, {"VENDRY_RUN", files.name}};
}

void LoopRun::log(std::string_view line) const noexcept { RunLog::append(files.log, line); }

void LoopRun::logEvent(std::string_view event) const noexcept {
  try {
    log("[" + RunLog::tsLocal() + "] " + std::string(event));
  } catch (const std::exception&) {  // no memory for a line: the run goes on
  }
}

void LoopRun::writeState(int exitCode) const noexcept {
  const auto now = VendryEngine::rawObject(files.name);
  if (!now || createdAtOf(*now) == createdAt_) VendryEngine::writeRunState(files.name, exitCode);
}
