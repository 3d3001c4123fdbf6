#include "Platform/linux/apps/CalendarShelf.h"

#include "Platform/linux/applescript/DateForms.h"

using namespace AppleScript;
using namespace std::chrono;

namespace CalendarShelf {

ICalendar::Wall wall(Date date) {
  constexpr local_seconds first = local_days(year(1) / January / 2), last = local_days(year(9999) / December / 30);
  const ICalendar::Wall wall(seconds(date.seconds));
  if (first <= wall && wall <= last) return wall;
  throw ScriptError(ErrorNumber::cannotSet,
                    "Can’t use " + sourceForm(date) + ". Calendar files go from 2 January 1 to 30 December 9999.");
}

Dates::Instant instant(Date date) {
  const auto sound = fields({wall(date).time_since_epoch().count()});
  return Dates::fromLocal({.year = static_cast<int>(sound.year),
                           .month = static_cast<int>(sound.month),
                           .day = static_cast<int>(sound.day),
                           .hour = 0,
                           .minute = 0,
                           .second = static_cast<int>(sound.time)});
}

Value textOrMissing(const std::optional<std::string>& text) { return text ? Value(*text) : Value(Missing()); }

Value dateOrMissing(const std::optional<Dates::Instant>& instant) {
  return instant ? DesktopValues::date(*instant) : Value(Missing());
}

std::optional<std::string> optionalText(const Value& value) {
  return value.isMissing() ? std::nullopt : std::optional(asText(value));
}

std::optional<Dates::Instant> optionalInstant(const Value& value) {
  return value.isMissing() ? std::nullopt : std::optional(instant(asDate(value)));
}

std::string title(const Value& value, std::string_view className) {
  const auto text = asText(value);
  const auto title = Text::trim(text);
  if (!title.empty()) return std::string(title);
  throw ScriptError(ErrorNumber::cannotSet, "Can’t name a " + std::string(className) + " " + sourceForm(value) + ".");
}

}  // namespace CalendarShelf
