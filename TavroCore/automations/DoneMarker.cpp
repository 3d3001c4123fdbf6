#include "TavroCore/automations/DoneMarker.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <system_error>
#include <thread>

#include "Platform/Files.h"

namespace DoneMarker {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

Clock::time_point deadlineAfter(long long seconds) {
  constexpr long long longest = 100LL * 365 * 86'400;  // what the clock can count
  return Clock::now() + std::chrono::seconds(std::min(seconds, longest));
}

/// The marker's text; nothing while there is no marker.
std::optional<std::string> textOf(const std::filesystem::path& marker) {
  constexpr std::uintmax_t largest = 4096;
  if (!Files::exists(marker)) return std::nullopt;
  std::error_code failure;
  const auto size = std::filesystem::file_size(marker, failure);
  if (!failure && size > largest) return "(no number)";
  return Files::readIfPossible(marker).value_or("");
}

/// The number that its digits make together: "0\n" is 0 and "done 2" is 2. Without a digit, or with too many, it is 1.
int codeOf(const std::string& text) {
  std::optional<std::int64_t> number;
  for (const char digit : text) {
    if (digit < '0' || digit > '9') continue;
    number = number.value_or(0) * 10 + (digit - '0');
    if (*number > std::numeric_limits<std::int32_t>::max()) return 1;
  }
  return static_cast<int>(number.value_or(1));
}

}  // namespace

bool Watch::sleep(Time until) {
  std::this_thread::sleep_until(until);
  return true;
}

Ending wait(const std::filesystem::path& marker, long long limit, const Watch& watch) {
  const auto deadline = deadlineAfter(limit);
  // A shell opens the marker before it writes into it, and `stop` closes the session before it leaves its marker: so
  // an empty marker, or a session that is gone, counts when the next look finds the same.
  int looksAtEmpty = 0;
  int looksAtGone = 0;
  for (;;) {
    const auto text = textOf(marker);
    const bool isLastLook = Clock::now() >= deadline;
    if (text && (!text->empty() || ++looksAtEmpty == 2 || isLastLook)) return {.code = codeOf(*text)};
    if (isLastLook) return {.code = timeLimitCode};
    looksAtGone = !text && watch.isGone() ? looksAtGone + 1 : 0;
    if (looksAtGone == 2 && !Files::exists(marker)) return {.code = killedCode, .isSessionGone = true};
    if (!watch.pause(std::min<Time>(Clock::now() + 2s, deadline))) return {.isCalledOff = true};
  }
}

}  // namespace DoneMarker
