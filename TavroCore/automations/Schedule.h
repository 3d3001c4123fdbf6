// When an automation runs: every so many minutes, daily at a time, or daily at several hours.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "Platform/Dates.h"
#include "Platform/JsonNames.h"

struct Schedule {
  struct Interval {
    long long minutes = 360;
    bool operator==(const Interval&) const = default;
  };
  struct Calendar {
    long long hour = 9;
    long long minute = 0;
    bool operator==(const Calendar&) const = default;
  };
  struct Hours {
    std::vector<long long> hours;  // as the owner gave them: neither sorted nor without duplicates
    long long minute = 0;
    bool operator==(const Hours&) const = default;
  };

  std::variant<Interval, Calendar, Hours> when = Interval{};

  /// For lists: "every 15m", "every 2h", "daily", "daily 9:05", "at 9,13h".
  std::string display() const;

  /// "9, 13" as 9 and 13. Pieces that are no number are passed over; nothing when none is left, or one isn't an hour.
  static std::optional<std::vector<long long>> parseHours(std::string_view text);

  /// The first run after `now`, where a timer that was loaded at `since` keeps this schedule: what lists show. Nothing
  /// when there will be none. Wall-clock times are local.
  std::optional<Dates::Instant> next(Dates::Instant since, Dates::Instant now) const;

  bool operator==(const Schedule&) const = default;
};

/// {"type": "interval", "everyMinutes": 90}, {"type": "calendar", "hour": 9, "minute": 5} or
/// {"type": "hours", "hours": [9, 13], "minute": 0}.
Json toJson(const Schedule& schedule);
/// Any value reads as a schedule: what is missing or of another type has its default, every 360 minutes at last.
Schedule scheduleFromJson(const Json& value);
