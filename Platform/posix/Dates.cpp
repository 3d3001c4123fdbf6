// The calendar is std::chrono's proleptic Gregorian one; the local time zone is the C library's,
// asked afresh at each call, so that a changed TZ counts at once.
#include "Platform/Dates.h"

#include <fmt/format.h>

#include <algorithm>
#include <ctime>

namespace Dates {

namespace {

using std::chrono::seconds;
using Seconds = std::chrono::sys_seconds;

std::optional<Instant>& fixedInstant() {
  static std::optional<Instant> instant;
  return instant;
}

constexpr Seconds yearZero = std::chrono::sys_days{std::chrono::year{0} / 1 / 1};
constexpr Seconds yearTenThousand = std::chrono::sys_days{std::chrono::year{10000} / 1 / 1};

/// Reads `count` digits at the head of `text` and takes them off it; -1 when they aren't there.
int takeDigits(std::string_view& text, std::size_t count) {
  if (text.size() < count) return -1;
  int number = 0;
  for (char digit : text.substr(0, count)) {
    if (digit < '0' || digit > '9') return -1;
    number = number * 10 + (digit - '0');
  }
  text.remove_prefix(count);
  return number;
}

bool takeMark(std::string_view& text, char mark) {
  if (!text.starts_with(mark)) return false;
  text.remove_prefix(1);
  return true;
}

std::optional<std::chrono::sys_days> takeDate(std::string_view& text) {
  const int year = takeDigits(text, 4);
  if (year < 0 || !takeMark(text, '-')) return std::nullopt;
  const int month = takeDigits(text, 2);
  if (month < 0 || !takeMark(text, '-')) return std::nullopt;
  const int day = takeDigits(text, 2);
  if (day < 0) return std::nullopt;
  const std::chrono::year_month_day date{std::chrono::year{year}, std::chrono::month(static_cast<unsigned>(month)),
                                         std::chrono::day(static_cast<unsigned>(day))};
  if (!date.ok()) return std::nullopt;
  return std::chrono::sys_days{date};
}

std::optional<seconds> takeTime(std::string_view& text) {
  const int hour = takeDigits(text, 2);
  if (hour < 0 || hour > 23 || !takeMark(text, ':')) return std::nullopt;
  const int minute = takeDigits(text, 2);
  if (minute < 0 || minute > 59 || !takeMark(text, ':')) return std::nullopt;
  const int second = takeDigits(text, 2);
  if (second < 0 || second > 59) return std::nullopt;
  return std::chrono::hours(hour) + std::chrono::minutes(minute) + seconds(second);
}

/// What the zone is ahead of UTC.
std::optional<seconds> takeZone(std::string_view& text) {
  if (takeMark(text, 'Z')) return seconds(0);
  const bool behind = text.starts_with('-');
  if (!takeMark(text, '+') && !takeMark(text, '-')) return std::nullopt;
  const int hour = takeDigits(text, 2);
  takeMark(text, ':');
  const int minute = takeDigits(text, 2);
  if (hour < 0 || hour > 23 || minute < 0 || minute > 59) return std::nullopt;
  const seconds ahead = std::chrono::hours(hour) + std::chrono::minutes(minute);
  return behind ? -ahead : ahead;
}

/// The fields read as if the local zone were UTC.
std::time_t asIfUTC(const Local& fields) {
  std::tm parts{};
  parts.tm_year = std::clamp(fields.year, -100'000, 100'000) - 1900;
  parts.tm_mon = std::clamp(fields.month, -1'000'000, 1'000'000) - 1;
  parts.tm_mday = fields.day;
  parts.tm_hour = fields.hour;
  parts.tm_min = fields.minute;
  parts.tm_sec = fields.second;
  // The bounds are what an Instant holds.
  return std::clamp<std::time_t>(timegm(&parts), -9'000'000'000'000, 9'000'000'000'000);
}

/// What the local zone is ahead of UTC at that time.
std::time_t offsetAt(std::time_t time) {
  std::tm parts{};
  return localtime_r(&time, &parts) == nullptr ? 0 : parts.tm_gmtoff;
}

}  // namespace

Instant now() {
  if (fixedInstant()) return *fixedInstant();
  return std::chrono::floor<std::chrono::microseconds>(std::chrono::system_clock::now());
}

std::string iso8601(Instant instant) {
  const Seconds time = std::clamp(std::chrono::floor<seconds>(instant), yearZero, yearTenThousand - seconds(1));
  const auto day = std::chrono::floor<std::chrono::days>(time);
  const std::chrono::year_month_day date{day};
  const std::chrono::hh_mm_ss clock{time - day};
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", int(date.year()), unsigned(date.month()),
                     unsigned(date.day()), clock.hours().count(), clock.minutes().count(), clock.seconds().count());
}

std::optional<Instant> parseISO8601(std::string_view text) {
  const auto date = takeDate(text);
  if (!date || !takeMark(text, 'T')) return std::nullopt;
  const auto time = takeTime(text);
  if (!time) return std::nullopt;
  const auto ahead = takeZone(text);
  if (!ahead || !text.empty()) return std::nullopt;
  return Instant{*date + *time - *ahead};
}

Local local(Instant instant) {
  const std::time_t time = std::chrono::floor<seconds>(instant).time_since_epoch().count();
  tzset();
  std::tm parts{};
  if (localtime_r(&time, &parts) == nullptr) return {};
  return {parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec};
}

std::string localText(Instant instant, Unit unit) {
  const Local at = local(instant);
  auto text = fmt::format("{:04}-{:02}-{:02}", at.year, at.month, at.day);
  if (unit != Unit::day) text += fmt::format(" {:02}:{:02}", at.hour, at.minute);
  if (unit == Unit::second) text += fmt::format(":{:02}", at.second);
  return text;
}

Instant fromLocal(const Local& fields) {
  // mktime's choice at a clock change depends on earlier calls. Here the zone's offsets a day before and
  // a day after decide: the earlier one is tried first, and it also carries a skipped time forward.
  constexpr std::time_t day = 86'400;
  tzset();
  const std::time_t wall = asIfUTC(fields);
  const std::time_t before = wall - offsetAt(wall - day);
  const std::time_t after = wall - offsetAt(wall + day);
  const auto shows = [wall](std::time_t time) { return time + offsetAt(time) == wall; };
  return Instant{seconds(!shows(before) && shows(after) ? after : before)};
}

FixedClock::FixedClock(Instant instant) : outer_(fixedInstant()) { fixedInstant() = instant; }
FixedClock::~FixedClock() { fixedInstant() = outer_; }
void FixedClock::set(Instant instant) { fixedInstant() = instant; }

}  // namespace Dates
