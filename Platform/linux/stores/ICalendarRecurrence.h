// Recurrence rules (RRULE, RFC 5545 3.3.10) on wall time: which days and times a rule gives, within a span.
//
// A rule without an end costs no more than the span asked for, whenever it began. libical's own iterator can't
// promise that (a rule that no date fits keeps it searching to the year 20000), and it passes over BYSETPOS in
// daily and weekly rules and over BYMONTHDAY=-1 in daily ones; the tests compare both where they must agree.
#pragma once

#include <array>
#include <bitset>
#include <functional>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "Platform/linux/stores/ICalendarTime.h"

namespace ICalendar {

/// The numbers of a BY part, which may count from the end: BYMONTHDAY=1,-1.
template <std::size_t Largest>
struct Numbers {
  std::bitset<Largest + 1> fromStart = {};
  std::bitset<Largest + 1> fromEnd = {};
  bool isGiven = false;

  /// Does it name `number` of `count`? True where nothing is given.
  bool allows(int number, int count) const {
    return !isGiven || fromStart[static_cast<std::size_t>(number)] ||
           fromEnd[static_cast<std::size_t>(count) - static_cast<std::size_t>(number) + 1];
  }
};

struct Rule {
  enum class Frequency { secondly, minutely, hourly, daily, weekly, monthly, yearly };
  struct OrdinalDay {
    int ordinal;  // 1 the first, -1 the last
    std::chrono::weekday weekday;
  };

  Frequency frequency = Frequency::daily;
  int interval = 1;
  std::optional<int> count = {};
  std::optional<Stamp> until = {};  // in the form that the file has
  std::chrono::weekday weekStart = std::chrono::Monday;
  Numbers<12> months = {};
  Numbers<53> weeks = {};
  Numbers<366> yearDays = {};
  Numbers<31> monthDays = {};
  std::bitset<7> weekdays = {};  // without an ordinal; Sunday is 0
  std::vector<OrdinalDay> ordinalDays = {};
  std::vector<int> hours = {}, minutes = {}, seconds = {};  // ascending
  std::vector<int> positions = {};

  bool hasDays() const { return weekdays.any() || !ordinalDays.empty(); }
};

/// Nothing for a rule that isn't valid, or of a calendar other than the Gregorian.
std::optional<Rule> parseRule(std::string_view value);

struct Span {
  Wall from;
  Wall to;  // belongs to it
};

/// Calls `found` for each time of the rule in the span, ascending, `start` among them: it is the first
/// whatever the rule says. `until` is the rule's, on the wall of `start`.
///
/// Takes a step off `steps` for each day and time that it looks at, and gives up where none is left, as with
/// FREQ=SECONDLY over a century.
void expand(const Rule& rule, Wall start, std::optional<Wall> until, Span span, long long& steps,
            const std::function<void(Wall)>& found);
/// With steps for whatever anybody means.
void expand(const Rule& rule, Wall start, std::optional<Wall> until, Span span, const std::function<void(Wall)>& found);

}  // namespace ICalendar
