// The values of time that a calendar file holds: dates, times of a clock on some wall, and durations.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/linux/stores/ContentLines.h"

namespace ICalendar {

/// What a clock on the wall and the calendar beside it show.
using Wall = std::chrono::local_seconds;

/// A DATE or DATE-TIME as it stands in a file. Which instant that is, Zones tells.
struct Stamp {
  enum class Form { date, utc, floating, zoned };
  Wall wall = {};  // midnight of a date
  Form form = Form::floating;
  std::string zone = {};  // TZID, of a zoned one

  static Stamp utc(std::chrono::sys_seconds time);

  bool isDate() const { return form == Form::date; }
  /// The same form with another time.
  Stamp with(Wall other) const;
  /// "20260314T092653Z"
  std::string value() const;
  /// ";TZID=Europe/Berlin", ";VALUE=DATE" or none
  std::string parameters() const;
};

/// Nothing for a text that is no date on the calendar.
std::optional<Stamp> parseStamp(std::string_view value, const std::string& zone = {});
/// Of DTSTART, DUE, RECURRENCE-ID and the like.
std::optional<Stamp> parseStamp(const ContentLines::Line& line);

/// Days are counted on the calendar, seconds by the clock; each may be negative.
struct Duration {
  std::chrono::days days{0};
  std::chrono::seconds seconds{0};
};
std::optional<Duration> parseDuration(std::string_view value);

/// One of RDATE's or EXDATE's values; a period has an end.
struct ListedStamp {
  Stamp start;
  std::optional<Stamp> end = {};
  std::optional<Duration> duration = {};
};
std::optional<std::vector<ListedStamp>> parseStamps(const ContentLines::Line& line);

}  // namespace ICalendar
