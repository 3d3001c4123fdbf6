#include "Platform/linux/stores/CalendarFilter.h"

#include <algorithm>
#include <optional>

#include "Platform/linux/stores/ICalendarTime.h"

namespace {

using std::string_view;
using namespace std::chrono;
using Day = local_days;

/// Of a value "20260314" or "20260314T..." behind the line's last colon.
std::optional<Day> dayOf(string_view line) {
  constexpr std::size_t dateSize = 8;
  const auto colon = line.rfind(':');
  if (colon == string_view::npos || line.size() < colon + 1 + dateSize) return std::nullopt;
  const auto stamp = ICalendar::parseStamp(line.substr(colon + 1, dateSize));
  return stamp ? std::optional(floor<days>(stamp->wall)) : std::nullopt;
}

/// The last day that a rule names; nothing for one that goes on, or whose end we don't see.
std::optional<Day> untilOf(string_view line) {
  constexpr string_view mark = "UNTIL=";
  const auto place = line.find(mark);
  if (place == string_view::npos || line.size() < place + mark.size() + 8) return std::nullopt;
  const auto stamp = ICalendar::parseStamp(line.substr(place + mark.size(), 8));
  return stamp ? std::optional(floor<days>(stamp->wall)) : std::nullopt;
}

/// Walks over the lines, as they are written everywhere: names in capitals, and not folded. Anything else is left to
/// the one who reads properly.
class Scan {
 public:
  Scan(Day from, Day to) : from_(from), to_(to) {}

  /// True as soon as something may be in the span.
  bool take(string_view line) {
    const bool isContinuation = line.starts_with(' ') || line.starts_with('\t');
    if (isContinuation) return isAfterBegin_;
    isAfterBegin_ = line.starts_with("BEGIN");
    if (isOdd(line)) return true;
    if (line.starts_with("BEGIN:VEVENT")) return isInEvent_ || begin();
    if (!isInEvent_) return false;
    if (line.starts_with("END:VEVENT")) return end();
    if (line.starts_with("DTSTART")) return first_.has_value() || keep(first_, dayOf(line));
    if (line.starts_with("DTEND")) return keep(last_, dayOf(line));
    if (line.starts_with("RRULE")) return keep(until_, untilOf(line));
    return line.starts_with("DURATION") || line.starts_with("RDATE") || line.find("RANGE=") != string_view::npos;
  }

  bool isInEvent() const { return isInEvent_; }

 private:
  bool isOdd(string_view line) const {
    if (line.empty() || line == "\r") return false;
    const auto colon = line.find(':');
    if (colon == string_view::npos) return true;
    const auto name = isAfterBegin_ ? line : line.substr(0, std::min(colon, line.find(';')));
    return std::any_of(name.begin(), name.end(), [](char c) { return c >= 'a' && c <= 'z'; }) ||
           (isAfterBegin_ && (colon != string_view("BEGIN").size() || line.find_first_of(" \t") != string_view::npos));
  }

  bool begin() {
    isInEvent_ = true;
    first_ = last_ = until_ = std::nullopt;
    return false;
  }

  static bool keep(std::optional<Day>& field, std::optional<Day> day) {
    if (day) field = field ? std::max(*field, *day) : *day;
    return !day.has_value();
  }

  bool end() {
    isInEvent_ = false;
    if (!first_) return true;
    const auto length = std::max(days(0), last_.value_or(*first_) - *first_);
    const auto last = std::max(*first_, until_.value_or(*first_)) + length;
    return *first_ <= to_ && last >= from_;
  }

  Day from_, to_;
  bool isInEvent_ = false, isAfterBegin_ = false;
  std::optional<Day> first_, last_, until_;
};

}  // namespace

bool CalendarFilter::mayOverlap(string_view file, Dates::Instant from, Dates::Instant to) {
  constexpr days slack(3);  // zones, and what an end on midnight means
  Scan scan(Day(floor<days>(from).time_since_epoch()) - slack, Day(floor<days>(to).time_since_epoch()) + slack);
  for (std::size_t at = 0; at < file.size();) {
    const auto feed = std::min(file.find('\n', at), file.size());
    if (scan.take(file.substr(at, feed - at))) return true;
    at = feed + 1;
  }
  return scan.isInEvent();  // whose end is written in some other way
}
