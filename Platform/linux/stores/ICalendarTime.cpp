#include "Platform/linux/stores/ICalendarTime.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "Platform/Text.h"

namespace ICalendar {

using std::string_view;
using namespace std::chrono;

namespace {

/// A number of exactly `text.size()` digits, or -1.
int number(string_view text) {
  int value = 0;
  for (const char c : text) {
    if (c < '0' || c > '9') return -1;
    value = value * 10 + (c - '0');
  }
  return value;
}

std::optional<local_days> parseDate(string_view text) {
  const int parts[] = {number(text.substr(0, 4)), number(text.substr(4, 2)), number(text.substr(6, 2))};
  if (std::any_of(std::begin(parts), std::end(parts), [](int part) { return part < 0; })) return std::nullopt;
  const year_month_day date{year(parts[0]), month(static_cast<unsigned>(parts[1])),
                            day(static_cast<unsigned>(parts[2]))};
  return date.ok() ? std::optional(local_days(date)) : std::nullopt;
}

std::optional<seconds> parseTime(string_view text) {
  const int hour = number(text.substr(0, 2)), minute = number(text.substr(2, 2)), second = number(text.substr(4, 2));
  if (hour < 0 || hour > 23 || minute < 0 || minute > 59 || second < 0 || second > 60) return std::nullopt;
  return hours(hour) + minutes(minute) + seconds(std::min(second, 59));  // a leap second has no time of its own
}

/// Digits and the letter behind them, "15M"; moves `text` behind them.
std::optional<std::pair<int, char>> takeAmount(string_view& text) {
  constexpr std::size_t mostDigits = 8;  // enough for the seconds of three years
  const auto end = std::min(text.find_first_not_of("0123456789"), text.size());
  if (end == 0 || end > mostDigits || end == text.size()) return std::nullopt;
  const std::pair amount(number(text.substr(0, end)), text[end]);
  text.remove_prefix(end + 1);
  return amount;
}

bool addAmount(Duration& duration, int amount, char unit, bool isTime) {
  if (!isTime && unit == 'W')
    duration.days += days(7 * amount);
  else if (!isTime && unit == 'D')
    duration.days += days(amount);
  else if (isTime && unit == 'H')
    duration.seconds += hours(amount);
  else if (isTime && unit == 'M')
    duration.seconds += minutes(amount);
  else if (isTime && unit == 'S')
    duration.seconds += seconds(amount);
  else
    return false;
  return true;
}

std::string zoneOf(const ContentLines::Line& line) { return line.parameterText("TZID").value_or(""); }

std::optional<ListedStamp> parseListed(string_view value, const std::string& zone) {
  const auto slash = value.find('/');
  const auto start = parseStamp(value.substr(0, slash), zone);
  if (!start) return std::nullopt;
  ListedStamp listed{.start = *start};
  if (slash == string_view::npos) return listed;
  listed.duration = parseDuration(value.substr(slash + 1));
  if (!listed.duration) listed.end = parseStamp(value.substr(slash + 1), zone);
  return listed.duration || listed.end ? std::optional(listed) : std::nullopt;
}

}  // namespace

Stamp Stamp::utc(sys_seconds time) { return {.wall = Wall(time.time_since_epoch()), .form = Form::utc}; }

Stamp Stamp::with(Wall other) const { return {isDate() ? floor<days>(other) : other, form, zone}; }

std::string Stamp::value() const {
  const auto midnight = floor<days>(wall);
  const year_month_day date{midnight};
  const hh_mm_ss time{wall - midnight};
  auto text = fmt::format("{:04}{:02}{:02}", int(date.year()), unsigned(date.month()), unsigned(date.day()));
  if (isDate()) return text;
  text += fmt::format("T{:02}{:02}{:02}", time.hours().count(), time.minutes().count(), time.seconds().count());
  return form == Form::utc ? text + "Z" : text;
}

std::string Stamp::parameters() const {
  if (isDate()) return ";VALUE=DATE";
  if (form != Form::zoned) return "";
  const bool needsQuotes = zone.find_first_of(":;,") != std::string::npos;
  return needsQuotes ? ";TZID=\"" + zone + "\"" : ";TZID=" + zone;
}

std::optional<Stamp> parseStamp(string_view value, const std::string& zone) {
  constexpr std::size_t dateSize = 8, timeSize = 15;  // 20260314, 20260314T092653
  value = Text::trim(value);
  const bool isUTC = value.size() == timeSize + 1 && value.back() == 'Z';
  if (value.size() != dateSize && value.size() != timeSize && !isUTC) return std::nullopt;
  const auto date = parseDate(value.substr(0, dateSize));
  if (!date) return std::nullopt;
  if (value.size() == dateSize) return Stamp{.wall = *date, .form = Stamp::Form::date};
  const auto time = parseTime(value.substr(dateSize + 1, 6));
  if (!time || value[dateSize] != 'T') return std::nullopt;
  if (isUTC) return Stamp{.wall = *date + *time, .form = Stamp::Form::utc};
  return Stamp{.wall = *date + *time, .form = zone.empty() ? Stamp::Form::floating : Stamp::Form::zoned, .zone = zone};
}

std::optional<Stamp> parseStamp(const ContentLines::Line& line) { return parseStamp(line.value(), zoneOf(line)); }

std::optional<Duration> parseDuration(string_view text) {
  text = Text::trim(text);
  const bool isNegative = text.starts_with('-');
  if (isNegative || text.starts_with('+')) text.remove_prefix(1);
  if (!text.starts_with('P') || text.size() < 3) return std::nullopt;
  text.remove_prefix(1);
  Duration duration;
  for (bool isTime = false; !text.empty();) {
    if (text.front() == 'T') {
      if (std::exchange(isTime, true)) return std::nullopt;
      text.remove_prefix(1);
    }
    const auto amount = takeAmount(text);
    if (!amount || !addAmount(duration, amount->first, amount->second, isTime)) return std::nullopt;
    constexpr days longest(1'000'000);  // what is repeated often enough would leave the calendar
    if (duration.days > longest || duration.seconds > longest) return std::nullopt;
  }
  return isNegative ? Duration{-duration.days, -duration.seconds} : duration;
}

std::optional<std::vector<ListedStamp>> parseStamps(const ContentLines::Line& line) {
  const auto zone = zoneOf(line);
  const auto value = line.value();
  std::vector<ListedStamp> stamps;
  for (string_view rest = value; !rest.empty();) {
    const auto comma = std::min(rest.find(','), rest.size());
    const auto listed = parseListed(rest.substr(0, comma), zone);
    if (!listed) return std::nullopt;
    stamps.push_back(*listed);
    rest.remove_prefix(std::min(comma + 1, rest.size()));
  }
  return stamps;
}

}  // namespace ICalendar
