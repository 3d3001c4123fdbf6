#include "Platform/linux/stores/CalendarItems.h"

#include <algorithm>

#include "Platform/Error.h"
#include "Platform/Text.h"
#include "Platform/Uuid.h"

namespace CalendarItems {

using namespace std::chrono;

void refuse(const std::filesystem::path& file) {
  throw Error("The calendar file " + file.string() +
              " was changed by another program since it was read; nothing was written to it. Try again.");
}

std::optional<ICalendar::Stamp> stampOf(const Component& item, const char* name) {
  const auto* line = item.find(name);
  return line == nullptr ? std::nullopt : ICalendar::parseStamp(*line);
}

std::string uidOf(const Component& item) { return std::string(Text::trim(item.text("UID").value_or(""))); }

Dates::Instant onCalendar(Dates::Instant instant) {
  constexpr sys_days first = year(1) / January / 2, last = year(9999) / December / 30;
  return std::clamp(instant, Dates::Instant(first), Dates::Instant(last));
}

std::string utc(Dates::Instant instant) { return ICalendar::Stamp::utc(floor<seconds>(onCalendar(instant))).value(); }

std::string clean(std::string text) {
  for (char& c : text)
    if ((c >= 0 && c < ' ' && c != '\n' && c != '\r' && c != '\t') || c == '\x7F') c = ' ';
  return text;
}

void setIfOther(Component& item, const char* name, const std::optional<std::string>& text) {
  const auto old = item.text(name);
  if (old == text) return;
  const auto cleaned = text ? std::optional(clean(*text)) : std::nullopt;
  if (old != cleaned) item.setText(name, cleaned);
}

Component::Pointer make(const char* name) {
  const auto item = std::make_shared<Component>(name, "\r\n");
  const auto now = utc(Dates::now());
  item->add("UID", "", Uuid::random());
  item->add("DTSTAMP", "", now);
  item->add("CREATED", "", now);
  item->add("LAST-MODIFIED", "", now);
  return item;
}

ICalendar::Document document(const Component::Pointer& item) {
  const auto calendar = std::make_shared<Component>("VCALENDAR", "\r\n");
  calendar->add("VERSION", "", "2.0");
  calendar->add("PRODID", "", "-//Tavro//Tavro//EN");
  calendar->insert(item, nullptr);
  return {.before = {}, .calendars = {calendar}, .after = {}};
}

}  // namespace CalendarItems
