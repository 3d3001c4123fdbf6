#include "Platform/linux/stores/ICalendarZones.h"

#include <algorithm>
#include <limits>
#include <set>

#include "Platform/Text.h"
#include "Platform/linux/stores/ICalendarRecurrence.h"
#include "Platform/linux/stores/SystemZones.h"

namespace ICalendar {

using namespace std::chrono;

namespace {

/// "+0130" or "-003258"
std::optional<seconds> parseOffset(const std::optional<std::string>& text) {
  if (!text) return std::nullopt;
  const auto digits = Text::trim(*text);
  if (digits.size() != 5 && digits.size() != 7) return std::nullopt;
  const auto number = Text::parseInteger(digits.substr(1));
  if (!number || *number < 0 || (digits.front() != '+' && digits.front() != '-')) return std::nullopt;
  const auto whole = digits.size() == 7 ? *number : *number * 100;
  const seconds offset = hours(whole / 10'000) + minutes(whole / 100 % 100) + seconds(whole % 100);
  if (offset >= hours(24)) return std::nullopt;
  return digits.front() == '-' ? -offset : offset;
}

/// The rules of this year hold for ever; the calendar repeats itself every 400 years.
constexpr sys_days repeatsFrom = year(2100) / January / 1;
constexpr sys_days repeatsAt = year(2500) / January / 1;

/// When the clocks of a STANDARD or DAYLIGHT part change to it, on the clock before the change.
std::vector<Wall> onsets(const Component& part, Wall start, seconds before, long long& steps) {
  std::vector<Wall> found{start};
  for (const auto* line : part.all("RDATE"))
    for (const auto& listed : parseStamps(*line).value_or(std::vector<ListedStamp>{}))
      found.push_back(listed.start.wall);
  const auto* line = part.find("RRULE");
  const auto rule = line == nullptr ? std::nullopt : parseRule(line->value());
  if (!rule || rule->frequency != Rule::Frequency::yearly) return found;
  std::optional<Wall> until;
  if (rule->until) until = rule->until->wall + (rule->until->form == Stamp::Form::utc ? before : seconds(0));
  const Span span{start, Wall(repeatsAt.time_since_epoch())};
  constexpr std::size_t most = 5'000;  // a rule that changes the clocks every day isn't one
  expand(*rule, start, until, span, steps, [&](Wall time) {
    if (found.size() < most) found.push_back(time);
  });
  return found;
}

std::string idOf(const Component& definition) { return std::string(Text::trim(definition.text("TZID").value_or(""))); }

void gatherZones(const Component& component, std::set<std::string>& ids) {
  if (component.name() == "VTIMEZONE") return;
  for (const auto* line : component.lines())
    if (auto id = line->parameterText("TZID")) ids.insert(std::move(*id));
  for (const auto& inner : component.components()) gatherZones(*inner, ids);
}

}  // namespace

// ---- One zone.

std::optional<Zone> Zone::of(const Component& definition, long long& steps) {
  Zone zone;
  std::optional<sys_seconds> earliest;
  for (const auto& part : definition.components()) {
    if (part->name() != "STANDARD" && part->name() != "DAYLIGHT") continue;
    const auto before = parseOffset(part->text("TZOFFSETFROM")), ahead = parseOffset(part->text("TZOFFSETTO"));
    const auto* line = part->find("DTSTART");
    const auto start = line == nullptr ? std::nullopt : parseStamp(line->value());
    if (!before || !ahead || !start) return std::nullopt;
    for (const auto onset : onsets(*part, start->wall, *before, steps)) {
      const sys_seconds at(onset.time_since_epoch() - *before);
      zone.changes_.push_back({at, *ahead});
      if (!earliest || at < *earliest) zone.first_ = *before;
      earliest = std::min(at, earliest.value_or(at));
    }
  }
  if (!earliest || steps < 0) return std::nullopt;
  std::stable_sort(zone.changes_.begin(), zone.changes_.end(), [](auto& a, auto& b) { return a.at < b.at; });
  return zone;
}

seconds Zone::aheadAt(sys_seconds time) const {
  if (time >= repeatsAt) time = repeatsFrom + (time - repeatsFrom) % (repeatsAt - repeatsFrom);
  const auto next = std::upper_bound(changes_.begin(), changes_.end(), time,
                                     [](sys_seconds at, const Change& change) { return at < change.at; });
  return next == changes_.begin() ? first_ : std::prev(next)->ahead;
}

Dates::Instant Zone::instant(Wall wall) const {
  // As Dates::fromLocal: the offset before a change is tried first, and carries a skipped time forward.
  const sys_seconds asUTC(wall.time_since_epoch());
  const auto before = asUTC - aheadAt(asUTC - days(1)), after = asUTC - aheadAt(asUTC + days(1));
  const auto shows = [&](sys_seconds time) { return time + aheadAt(time) == asUTC; };
  return !shows(before) && shows(after) ? after : before;
}

Wall Zone::wall(Dates::Instant instant) const {
  const auto time = floor<seconds>(instant);
  return Wall((time + aheadAt(time)).time_since_epoch());
}

// ---- All of them.

Dates::Instant Zones::instant(const Stamp& stamp, const Component& calendar) {
  if (stamp.form == Stamp::Form::utc) return sys_seconds(stamp.wall.time_since_epoch());
  if (stamp.form == Stamp::Form::zoned)
    if (const auto* zone = find(stamp.zone, calendar)) return zone->instant(stamp.wall);
  const auto midnight = floor<days>(stamp.wall);
  const year_month_day date{midnight};
  const hh_mm_ss time{stamp.wall - midnight};
  return Dates::fromLocal({.year = int(date.year()),
                           .month = static_cast<int>(unsigned(date.month())),
                           .day = static_cast<int>(unsigned(date.day())),
                           .hour = static_cast<int>(time.hours().count()),
                           .minute = static_cast<int>(time.minutes().count()),
                           .second = static_cast<int>(time.seconds().count())});
}

Wall Zones::wall(Dates::Instant instant, const Stamp& like, const Component& calendar) {
  if (like.form == Stamp::Form::utc) return Wall(floor<seconds>(instant).time_since_epoch());
  if (like.form == Stamp::Form::zoned)
    if (const auto* zone = find(like.zone, calendar)) return zone->wall(instant);
  const auto local = Dates::local(instant);
  const local_days day(year(local.year) / local.month / local.day);
  return like.isDate() ? Wall(day) : day + hours(local.hour) + minutes(local.minute) + seconds(local.second);
}

Stamp Zones::stamp(Dates::Instant instant, const Stamp& like, const Component& calendar) {
  const auto stamp = like.with(wall(instant, like, calendar));
  const bool isKnown = like.form != Stamp::Form::zoned || find(like.zone, calendar) != nullptr;
  if (stamp.isDate() || (isKnown && this->instant(stamp, calendar) == floor<seconds>(instant))) return stamp;
  return Stamp::utc(floor<seconds>(instant));
}

void Zones::define(Component& calendar) {
  std::set<std::string> ids;
  gatherZones(calendar, ids);
  for (const auto& definition : calendar.components("VTIMEZONE")) ids.erase(idOf(*definition));
  for (const auto& id : ids) {
    const auto text = SystemZones::definition(id, SystemZones::Extent::since1970);
    const auto document = text ? parse("BEGIN:VCALENDAR\r\n" + *text + "END:VCALENDAR\r\n") : std::nullopt;
    if (document) calendar.insertFirst(document->calendars.front()->components().at(0));
  }
}

const Zone* Zones::find(const std::string& id, const Component& calendar) {
  if (const auto* zone = system(id)) return zone;
  if (definedIn_.lock().get() != &calendar) {
    defined_.clear();
    definedIn_ = calendar.weak_from_this();
    for (const auto& definition : calendar.components("VTIMEZONE"))
      defined_.try_emplace(idOf(*definition), Definition{definition});
  }
  const auto defined = defined_.find(id);
  return defined == defined_.end() ? nullptr : zoneOf(defined->second);
}

const Zone* Zones::zoneOf(Definition& definition) {
  if (!definition.zone) {
    const auto [place, isNew] = byDefinition_.try_emplace(definition.component->bytes());
    if (isNew) place->second = Zone::of(*definition.component, definitionSteps_);
    definition.zone = place->second ? &*place->second : nullptr;
  }
  return *definition.zone;
}

const Zone* Zones::system(const std::string& id) {
  const auto [place, isNew] = bySystem_.try_emplace(id);
  long long steps = std::numeric_limits<long long>::max();  // the system's own are to be trusted
  if (isNew)
    if (const auto text = SystemZones::definition(id, SystemZones::Extent::whole))
      if (const auto document = parse("BEGIN:VCALENDAR\r\n" + *text + "END:VCALENDAR\r\n"))
        place->second = Zone::of(*document->calendars.front()->components().at(0), steps);
  return place->second ? &*place->second : nullptr;
}

}  // namespace ICalendar
