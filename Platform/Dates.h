// The clock, and the text forms of time. An Instant is a point of time to the microsecond, UTC.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace Dates {

using Instant = std::chrono::sys_time<std::chrono::microseconds>;

/// The present time, by the innermost FixedClock where one lives.
Instant now();

/// ISO 8601 in UTC to the second, "2026-03-14T09:26:53Z". Years outside 0 to 9999 are clamped to it.
std::string iso8601(Instant instant);
/// Reads that form exactly (the zone may also be "+hh:mm" or "+hhmm"); nothing for any other text or
/// for a date that isn't on the calendar.
std::optional<Instant> parseISO8601(std::string_view text);

/// Wall-clock fields in the local time zone (TZ).
struct Local {
  int year = 1970;
  int month = 1;  // 1 to 12
  int day = 1;
  int hour = 0;
  int minute = 0;
  int second = 0;
};
Local local(Instant instant);
/// "2026-03-14", "2026-03-14 09:26" or "2026-03-14 09:26:53", local.
enum class Unit { day, minute, second };
std::string localText(Instant instant, Unit unit);
/// The instant of local fields. Fields out of range roll over. A time that a clock change skips moves
/// forward by what was skipped (02:30 is then 03:30); of one that exists twice the first is meant.
Instant fromLocal(const Local& local);

/// Sets the process's clock for as long as it lives; for tests. Not for several threads.
class FixedClock {
 public:
  explicit FixedClock(Instant instant);
  ~FixedClock();
  FixedClock(const FixedClock&) = delete;
  FixedClock& operator=(const FixedClock&) = delete;
  void set(Instant instant);

 private:
  std::optional<Instant> outer_;
};

}  // namespace Dates
