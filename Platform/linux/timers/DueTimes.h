// When a job is due, as functions of the job, what has been done for it, and the two clocks: the wall clock, which
// people set and which times of the day go by, and the boot clock, which nobody sets and which intervals go by; it
// counts while the computer sleeps.
//
// - What came due while nobody could look (asleep, switched off, the clock set forward) counts once.
// - After the clock was set back by less than three hours, times that have run don't run again; by more, the new clock
//   is followed. A job with times of every hour always follows the clock.
// - A time of the day that a change to summer time skips comes later by what was skipped; of one that comes twice, the
//   first counts.
// - What comes due while the job runs doesn't count.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Dates.h"
#include "Platform/linux/timers/LaunchJob.h"

/// An instant by both clocks.
struct Moment {
  Dates::Instant wall;
  std::chrono::microseconds boot{};  // since the computer's start
  std::string bootId;                // of that start

  static Moment now();
  friend bool operator==(const Moment&, const Moment&) = default;
};

namespace DueTimes {

/// The first of the times after `after`, in the local time zone; nothing when there is none in the next ten years.
std::optional<Dates::Instant> next(const std::vector<CalendarTime>& times, Dates::Instant after);

struct Verdict {
  bool isDue = false;
  /// Up to when all has been done, as the present clocks tell it; keep it.
  Moment handled;
  /// Otherwise: when to look again, by either clock.
  std::optional<Dates::Instant> wall = std::nullopt;
  std::optional<std::chrono::microseconds> boot = std::nullopt;
};

/// `handled` is the load, or the last start. A start makes it `now`.
Verdict judge(const LaunchJob& job, const Moment& handled, const Moment& now);

/// `handled` after a run's end: what came due while it ran is done with.
Moment afterEnd(const LaunchJob& job, const Moment& handled, const Moment& now);

}  // namespace DueTimes
