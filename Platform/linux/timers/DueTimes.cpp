#include "Platform/linux/timers/DueTimes.h"

#include <time.h>

#include <algorithm>

#include "Platform/linux/Proc.h"

namespace {

using namespace std::chrono_literals;
using Dates::Instant;
using std::chrono::microseconds;
using std::chrono::minutes;
using std::chrono::sys_days;
using std::chrono::year_month_day;

constexpr auto longestCorrection = 3h;

Instant at(sys_days date, int hour, int minute) {
  const year_month_day day(date);
  return Dates::fromLocal({.year = int(day.year()),
                           .month = static_cast<int>(unsigned(day.month())),
                           .day = static_cast<int>(unsigned(day.day())),
                           .hour = hour,
                           .minute = minute});
}

bool isOn(const CalendarTime& time, sys_days date) {
  const year_month_day day(date);
  if (time.month && static_cast<unsigned>(*time.month) != unsigned(day.month())) return false;
  const bool onDay = time.day && static_cast<unsigned>(*time.day) == unsigned(day.day());
  const bool onWeekday =
      time.weekday && static_cast<unsigned>(*time.weekday) % 7 == std::chrono::weekday(date).c_encoding();
  return onDay || onWeekday || (!time.day && !time.weekday);
}

/// An hour that the clock shows twice counts once, and one that it skips counts later.
std::optional<Instant> inFixedHour(const CalendarTime& time, sys_days date, Instant after) {
  for (int minute = time.minute.value_or(0); minute <= time.minute.value_or(59); ++minute)
    if (const auto instant = at(date, *time.hour, minute); instant > after) return instant;
  return std::nullopt;
}

/// Hours as they pass: one that the clock shows twice counts twice.
std::optional<Instant> inEveryHour(const CalendarTime& time, sys_days date, Instant after) {
  const auto end = at(date + std::chrono::days(1), 0, 0);
  auto instant = std::max(at(date, 0, 0), Instant(std::chrono::floor<minutes>(after)) + 1min);
  for (; instant < end; instant += 1min)
    if (!time.minute || Dates::local(instant).minute == *time.minute) return instant;
  return std::nullopt;
}

std::optional<Instant> next(const CalendarTime& time, Instant after) {
  constexpr std::chrono::days tenYears(3653);  // 29 February may be eight years away
  const auto local = Dates::local(after);
  const sys_days today = std::chrono::year(local.year) / local.month / local.day;
  // From the day before on, as a time that was skipped at its end may come today.
  for (auto date = today - std::chrono::days(1); date < today + tenYears; date += std::chrono::days(1)) {
    if (!isOn(time, date)) continue;
    const auto found = time.hour ? inFixedHour(time, date, after) : inEveryHour(time, date, after);
    if (found) return found;
  }
  return std::nullopt;
}

bool followsTheClock(const LaunchJob& job) {
  return std::any_of(job.times.begin(), job.times.end(), [](const auto& time) { return !time.hour; });
}

/// `handled` as told by clocks that may have been set, or started anew, since.
Moment onPresentClocks(const LaunchJob& job, Moment handled, const Moment& now) {
  const bool sameStart = handled.bootId == now.bootId && handled.boot <= now.boot;
  const microseconds passed =
      sameStart ? now.boot - handled.boot : std::max<microseconds>(0us, now.wall - handled.wall);
  if (!sameStart) {
    handled.boot = now.boot - passed;
    handled.bootId = now.bootId;
  }
  const auto setBack = handled.wall + passed - now.wall;
  if (handled.wall > now.wall && (setBack >= longestCorrection || followsTheClock(job))) {
    handled.wall = now.wall;
    if (!job.interval) handled.boot = now.boot;  // so that a second correction is measured from here
  }
  return handled;
}

}  // namespace

Moment Moment::now() {
  timespec sinceStart{};
  ::clock_gettime(CLOCK_BOOTTIME, &sinceStart);
  const auto boot = std::chrono::seconds(sinceStart.tv_sec) + microseconds(sinceStart.tv_nsec / 1000);
  return {Dates::now(), boot, Proc::bootId()};
}

std::optional<Instant> DueTimes::next(const std::vector<CalendarTime>& times, Instant after) {
  std::optional<Instant> first;
  for (const auto& time : times) {
    const auto at = ::next(time, after);
    if (at && (!first || *at < *first)) first = at;
  }
  return first;
}

DueTimes::Verdict DueTimes::judge(const LaunchJob& job, const Moment& handled, const Moment& now) {
  Verdict verdict{.handled = onPresentClocks(job, handled, now)};
  verdict.wall = next(job.times, verdict.handled.wall);
  if (job.interval) verdict.boot = verdict.handled.boot + *job.interval;
  verdict.isDue = (verdict.wall && *verdict.wall <= now.wall) || (verdict.boot && *verdict.boot <= now.boot);
  return verdict;
}

Moment DueTimes::afterEnd(const LaunchJob& job, const Moment& handled, const Moment& now) {
  const auto verdict = judge(job, handled, now);
  if (!verdict.isDue) return verdict.handled;
  auto done = now;
  if (job.interval) done.boot -= (now.boot - verdict.handled.boot) % microseconds(*job.interval);
  return done;
}
