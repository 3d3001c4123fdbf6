#include "TavroCore/automations/Schedule.h"

#include <fmt/format.h>

#include <algorithm>
#include <bitset>

#include "Platform/Json.h"
#include "Platform/Text.h"
#include "TavroCore/harness/RecordFields.h"

namespace {

using Dates::Instant;

constexpr long long minutesADay = 1'440;

bool isHour(long long hour) { return hour >= 0 && hour < 24; }
bool isMinute(long long minute) { return minute >= 0 && minute < 60; }

// ---- The text for lists.

std::string shown(const Schedule::Interval& interval) {
  const long long m = interval.minutes;
  if (m == minutesADay) return "daily";
  if (m % minutesADay == 0) return fmt::format("every {}d", m / minutesADay);
  if (m % 60 == 0) return fmt::format("every {}h", m / 60);
  return fmt::format("every {}m", m);
}

std::string shown(const Schedule::Calendar& calendar) {
  return fmt::format("daily {}:{:02}", calendar.hour, calendar.minute);
}

std::string shown(const Schedule::Hours& hours) { return fmt::format("at {}h", fmt::join(hours.hours, ",")); }

// ---- The next run.

std::optional<Instant> following(const Schedule::Interval& interval, Instant since, Instant now) {
  constexpr long long longest = 1'000'000'000;  // some 1900 years, within what an Instant holds
  if (interval.minutes > longest) return std::nullopt;
  const Instant::duration step = std::chrono::minutes(std::max(interval.minutes, 1LL));
  return since + step * (now < since ? 1 : (now - since) / step + 1);
}

/// Of a daily time. Two days ahead at most: today's may be over, and tomorrow's be skipped by a change of the zone.
std::optional<Instant> following(long long hour, long long minute, Instant now) {
  if (!isHour(hour) || !isMinute(minute)) return std::nullopt;
  const Dates::Local today = Dates::local(now);
  for (int ahead = 0; ahead <= 2; ++ahead) {
    const Instant at = Dates::fromLocal({.year = today.year,
                                         .month = today.month,
                                         .day = today.day + ahead,
                                         .hour = static_cast<int>(hour),
                                         .minute = static_cast<int>(minute)});
    if (at > now) return at;
  }
  return std::nullopt;
}

std::optional<Instant> following(const Schedule::Calendar& calendar, Instant, Instant now) {
  return following(calendar.hour, calendar.minute, now);
}

std::optional<Instant> following(const Schedule::Hours& hours, Instant, Instant now) {
  std::bitset<24> wanted;  // the list may be of any length
  for (const long long hour : hours.hours) {
    if (isHour(hour)) wanted.set(static_cast<std::size_t>(hour));
  }
  std::optional<Instant> first;
  for (std::size_t hour = 0; hour < wanted.size(); ++hour) {
    const auto at = wanted[hour] ? following(static_cast<long long>(hour), hours.minute, now) : std::nullopt;
    if (at && (!first || *at < *first)) first = at;
  }
  return first;
}

// ---- The record.

Json record(const Schedule::Interval& interval) { return {{"type", "interval"}, {"everyMinutes", interval.minutes}}; }
Json record(const Schedule::Calendar& calendar) {
  return {{"type", "calendar"}, {"hour", calendar.hour}, {"minute", calendar.minute}};
}
Json record(const Schedule::Hours& hours) {
  return {{"type", "hours"}, {"hours", hours.hours}, {"minute", hours.minute}};
}

}  // namespace

std::string Schedule::display() const {
  return std::visit([](const auto& each) { return shown(each); }, when);
}

std::optional<std::vector<long long>> Schedule::parseHours(std::string_view text) {
  std::vector<long long> hours;
  for (const auto& piece : Text::split(text, ',', true)) {
    const auto hour = Text::parseInteger(Text::trimBlanks(piece));
    if (!hour) continue;
    if (!isHour(*hour)) return std::nullopt;
    hours.push_back(*hour);
  }
  if (hours.empty()) return std::nullopt;
  return hours;
}

std::optional<Instant> Schedule::next(Instant since, Instant now) const {
  return std::visit([&](const auto& each) { return following(each, since, now); }, when);
}

Json toJson(const Schedule& schedule) {
  return std::visit([](const auto& each) { return record(each); }, schedule.when);
}

Schedule scheduleFromJson(const Json& value) {
  using namespace RecordFields;
  const std::string type = text(value, "type").value_or("");
  if (type == "calendar") {
    const Schedule::Calendar otherwise;
    return {Schedule::Calendar{integer(value, "hour").value_or(otherwise.hour),
                               integer(value, "minute").value_or(otherwise.minute)}};
  }
  if (type == "hours") {
    return {Schedule::Hours{integers(value, "hours").value_or(std::vector<long long>{}),
                            integer(value, "minute").value_or(0)}};
  }
  return {Schedule::Interval{integer(value, "everyMinutes").value_or(Schedule::Interval{}.minutes)}};
}
