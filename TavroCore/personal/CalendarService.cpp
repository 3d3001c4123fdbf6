#include "TavroCore/personal/CalendarService.h"

#include <fmt/format.h>

#include <algorithm>

#include "Platform/Dates.h"
#include "Platform/EventKit.h"
#include "Platform/Text.h"
#include "Platform/Url.h"
#include "TavroCore/personal/EventKitAccess.h"
#include "TavroCore/personal/OneLine.h"

namespace {

using Dates::Instant;

// ---- The range.

/// The same time of day on the local clock, `days` days later or earlier.
Instant daysAfter(Instant instant, long long days) {
  constexpr long long most = 4'000'000;  // from any date of the calendar's 9999 years, beyond its end
  if (days == 0) return instant;         // the clock may show this time twice
  auto local = Dates::local(instant);
  local.day += static_cast<int>(std::clamp(days, -most, most));
  const auto ofSecond = instant - std::chrono::floor<std::chrono::seconds>(instant);
  return Dates::fromLocal(local) + ofSecond;
}

std::vector<EKEvent> eventsBetween(EKEventStore& store, Instant start, Instant end,
                                   const std::optional<std::string>& contains) {
  auto events = store.events(store.predicateForEvents(start, end));
  if (!contains) return events;
  std::erase_if(events,
                [&](const EKEvent& event) { return !Text::containsIgnoringCase(event.title.value_or(""), *contains); });
  return events;
}

// ---- Words for an event.

std::string titleOf(const EKEvent& event) { return onOneLine(event.title.value_or("(untitled)")); }

std::string calendarOf(const EKEvent& event) {
  return event.calendar.title.empty() ? "?" : onOneLine(event.calendar.title);
}

std::string whenOf(const EKEvent& event) {
  if (event.isAllDay) return Dates::localText(event.startDate, Dates::Unit::day) + " (all-day)";
  return Dates::localText(event.startDate, Dates::Unit::minute);
}

/// `mark` and the text, when there is one.
std::string marked(const char* mark, const std::optional<std::string>& text) {
  return text && !text->empty() ? mark + onOneLine(*text) : "";
}

std::string lineOf(const EKEvent& event) {
  return whenOf(event) + " || " + calendarOf(event) + " || " + titleOf(event) + marked(" @ ", event.location) +
         marked(" 🔗 ", event.url);
}

std::string nothingFound(long long days, const std::optional<std::string>& contains) {
  const auto number = static_cast<unsigned long long>(days);
  return fmt::format("(no events in the {} {} day(s){})", days < 0 ? "past" : "next", days < 0 ? 0 - number : number,
                     contains ? " matching \"" + *contains + "\"" : "");
}

// ---- One event.

EKEvent singleEvent(EKEventStore& store, const std::string& contains, long long days) {
  EventKitAccess::ensureAccess(store, EKEntityType::event);
  const auto now = Dates::now();
  auto events = eventsBetween(store, now, daysAfter(now, std::max(days, 1LL)), contains);
  if (events.empty()) throw CalendarService::UpdateError::noMatch(contains);
  if (events.size() == 1) return std::move(events.front());
  std::vector<std::string> labels;
  for (const auto& event : events) labels.push_back(titleOf(event) + " (" + calendarOf(event) + ")");
  throw CalendarService::UpdateError::ambiguous(labels);
}

void apply(const CalendarService::Change& change, EKEvent& event) {
  if (change.title) event.title = change.title;
  if (change.location) event.location = change.location;
  if (change.notes) event.notes = change.notes;
  if (change.url) event.url = Url::isValid(*change.url) ? change.url : std::nullopt;
}

}  // namespace

namespace CalendarService {

UpdateError UpdateError::noMatch(const std::string& filter) {
  return UpdateError("no event in range matching \"" + filter + "\" - nothing to update.");
}

UpdateError UpdateError::ambiguous(const std::vector<std::string>& labels) {
  return UpdateError(
      fmt::format("ambiguous: {} events match - refine `contains`:\n{}", labels.size(), Text::join(labels, "\n")));
}

UpdateError UpdateError::nothingToChange() {
  return UpdateError("no change requested (pass at least one of title / location / notes / url).");
}

std::string find(long long days, const std::optional<std::string>& contains) {
  EKEventStore store;
  EventKitAccess::ensureAccess(store, EKEntityType::event);
  const auto filter = contains && contains->empty() ? std::nullopt : contains;
  const auto now = Dates::now();
  const auto [start, end] = std::minmax({now, daysAfter(now, days)});
  auto events = eventsBetween(store, start, end, filter);
  if (events.empty()) return nothingFound(days, filter);
  std::stable_sort(events.begin(), events.end(),
                   [](const EKEvent& a, const EKEvent& b) { return a.startDate < b.startDate; });
  std::vector<std::string> lines;
  std::transform(events.begin(), events.end(), std::back_inserter(lines), lineOf);
  return Text::join(lines, "\n");
}

std::string update(const std::string& contains, long long days, const Change& change) {
  if (!change.title && !change.location && !change.notes && !change.url) throw UpdateError::nothingToChange();
  EKEventStore store;
  auto event = singleEvent(store, contains, days);
  const auto label = titleOf(event) + " @ " + onOneLine(event.location.value_or("-"));
  apply(change, event);
  store.save(event, EKSpan::thisEvent);
  const auto url = marked("", event.url);
  return fmt::format("OK updated [{}] → title=\"{}\" location=\"{}\"{}", label, onOneLine(event.title.value_or("")),
                     onOneLine(event.location.value_or("")), url.empty() ? "" : " url=\"" + url + "\"");
}

std::string remove(const std::string& contains, long long days) {
  EKEventStore store;
  const auto event = singleEvent(store, contains, days);
  store.remove(event, EKSpan::thisEvent);
  return "OK deleted [" + titleOf(event) + "]";
}

}  // namespace CalendarService
