#include "Platform/linux/stores/ICalendarSeries.h"

#include <algorithm>
#include <unordered_map>

#include "Platform/Text.h"

namespace ICalendar {

using namespace std::chrono;

namespace {

constexpr long long occurrenceSteps = 100;  // what it costs to place one in time and to keep it, and what to give it

bool isCancelled(const Component& component) {
  const auto* line = component.find("STATUS");
  return line != nullptr && Text::equalIgnoringCase(Text::trim(line->value()), "CANCELLED");
}

long long sequence(const Component& component) {
  const auto number = Text::parseInteger(Text::trim(component.text("SEQUENCE").value_or("0")));
  return number && *number >= 0 && *number < 1'000'000'000 ? *number : 0;
}

/// The end of a rule on the clock that `start` is read from.
std::optional<Wall> endOf(const Rule& rule, const Stamp& start, Zones& zones, const Component& calendar) {
  if (!rule.until) return std::nullopt;
  const auto& until = *rule.until;
  if (until.isDate()) return until.wall + seconds(86'399);
  if (start.isDate()) return floor<days>(until.wall);
  if (until.form != Stamp::Form::utc || start.form == Stamp::Form::utc) return until.wall;
  return zones.wall(zones.instant(until, calendar), start, calendar);
}

}  // namespace

// ---- Reading.

std::vector<Series> Series::all(const Component::Pointer& calendar, Zones& zones) {
  std::vector<Series> series;
  std::unordered_map<std::string, std::size_t> byUid;
  auto events = calendar->components("VEVENT");
  // What repeats first: a file may have them in any order.
  std::stable_partition(events.begin(), events.end(), [](const auto& event) { return !event->find("RECURRENCE-ID"); });
  std::vector<bool> isValid;
  for (const auto& event : events) {
    const auto uid = std::string(Text::trim(event->text("UID").value_or("")));
    const auto known = byUid.find(uid);
    const bool isNew = known == byUid.end() || uid.empty() || !event->find("RECURRENCE-ID");
    const auto index = isNew ? series.size() : known->second;
    if (isNew) {
      series.push_back(Series(calendar, zones));
      series.back().uid_ = uid;
      isValid.push_back(true);
      byUid.emplace(uid, index);
    }
    isValid[index] = isValid[index] && series[index].add(event);
  }
  std::vector<Series> valid;
  for (std::size_t index = 0; index < series.size(); ++index)
    if (isValid[index]) valid.push_back(std::move(series[index]));
  return valid;
}

bool Series::add(const Component::Pointer& component) {
  components_.insert(component.get());
  const auto* startLine = component->find("DTSTART");
  const auto start = startLine == nullptr ? std::nullopt : parseStamp(*startLine);
  const auto itsLength = start ? length(*component, *start) : std::nullopt;
  if (!itsLength) return false;
  Entry entry{.component = component, .start = *start, .length = *itsLength, .id = {}};
  const auto* idLine = component->find("RECURRENCE-ID");
  if (idLine == nullptr) {
    master_ = entry;
    return readRepetition(*component);
  }
  entry.id = parseStamp(*idLine);
  if (!entry.id) return false;
  entry.idInstant = idInstant(*entry.id);
  auto& entries = idLine->parameter("RANGE") == std::vector<std::string>{"thisandfuture"} ? turns_ : replacements_;
  const auto [place, isNew] = entries.try_emplace(entry.idInstant, entry);
  if (!isNew && sequence(*component) >= sequence(*place->second.component)) place->second = entry;
  return true;
}

bool Series::readRepetition(const Component& master) {
  for (const auto* line : master.lines()) {
    if (line->name == "RRULE" || line->name == "EXRULE") {
      const auto rule = parseRule(line->value());
      if (!rule) return false;
      (line->name == "RRULE" ? rules_ : exceptRules_)
          .emplace_back(*rule, endOf(*rule, master_->start, *zones_, *calendar_));
    } else if (line->name == "RDATE" || line->name == "EXDATE") {
      const auto stamps = parseStamps(*line);
      if (!stamps) return false;
      if (line->name == "RDATE") dates_.insert(dates_.end(), stamps->begin(), stamps->end());
      if (line->name == "EXDATE")
        for (const auto& listed : *stamps) exceptDates_[instant(listed.start)] |= listed.start.isDate();
    }
  }
  repeats_ = !rules_.empty() || !dates_.empty();
  return true;
}

std::optional<Duration> Series::length(const Component& component, const Stamp& start) const {
  const auto* endLine = component.find("DTEND");
  const auto* durationLine = component.find("DURATION");
  if (endLine == nullptr && durationLine == nullptr) return Duration{.days = days(start.isDate() ? 1 : 0)};
  ListedStamp whole{.start = start};
  if (endLine != nullptr)
    whole.end = parseStamp(*endLine);
  else
    whole.duration = parseDuration(durationLine->value());
  return length(whole);
}

std::optional<Duration> Series::length(const ListedStamp& listed) const {
  Duration length;
  if (listed.duration) {
    length = *listed.duration;
  } else if (listed.end && listed.start.isDate()) {
    length.days = floor<days>(listed.end->wall) - floor<days>(listed.start.wall);
  } else if (listed.end) {
    length.seconds = floor<seconds>(instant(*listed.end) - instant(listed.start));
  } else {
    return std::nullopt;
  }
  if (listed.start.isDate()) return Duration{.days = std::max(days(1), ceil<days>(length.days + length.seconds))};
  return Duration{.days = std::max(days(0), length.days), .seconds = std::max(seconds(0), length.seconds)};
}

// ---- Finding.

/// A date names the occurrence of that day.
Dates::Instant Series::idInstant(const Stamp& id) const {
  if (!id.isDate() || !master_ || master_->start.isDate()) return instant(id);
  const auto& first = master_->start.wall;
  return instant(master_->start.with(id.wall + (first - floor<days>(first))));
}

Occurrence Series::filed() const {
  const auto& entry = master_ ? *master_ : (replacements_.empty() ? turns_ : replacements_).begin()->second;
  return {.component = entry.component,
          .start = entry.start,
          .begins = instant(entry.start),
          .ends = end(entry.start, entry.length),
          .id = {}};
}

Dates::Instant Series::end(const Stamp& start, const Duration& length) const {
  return instant(start.with(start.wall + length.days)) + length.seconds;
}

/// How far this one moves occurrences, on its own clock.
seconds Series::shift(const Entry& turn) const {
  return turn.start.wall - zones_->wall(turn.idInstant, turn.start, *calendar_);
}

/// How much earlier than a span something may begin that still is in it. Zones are at most a day apart.
seconds Series::reach() const {
  const auto total = [](const Duration& length) { return length.days + length.seconds; };
  auto longest = total(master_->length);
  seconds farthest(0);
  for (const auto& listed : dates_)
    if (const auto own = length(listed)) longest = std::max<seconds>(longest, total(*own));
  for (const auto& [id, entry] : turns_) {
    longest = std::max<seconds>(longest, total(entry.length));
    farthest = std::max(farthest, abs(shift(entry)));
  }
  return longest + farthest + days(2);
}

std::vector<Series::Candidate> Series::candidates(Span span, long long& steps) const {
  const auto& start = master_->start;
  std::vector<Candidate> found;
  const auto take = [&](Wall wall) {
    if ((steps -= occurrenceSteps) >= 0) found.push_back({start.with(wall), {}});
  };
  if (rules_.empty() && span.from <= start.wall && start.wall <= span.to) take(start.wall);
  for (const auto& [rule, until] : rules_) expand(rule, start.wall, until, span, steps, take);
  for (const auto& listed : dates_) found.push_back({listed.start, length(listed)});
  return found;
}

bool Series::isExcluded(const Stamp& start, Dates::Instant begins) const {
  if (exceptDates_.contains(begins)) return true;
  if (start.isDate()) return false;
  const Stamp day{.wall = floor<days>(start.wall), .form = Stamp::Form::date};
  const auto found = exceptDates_.find(instant(day));
  return found != exceptDates_.end() && found->second;
}

std::optional<Occurrence> Series::occurrence(const Entry& entry, const Stamp& start, const Duration& length) const {
  if (isCancelled(*entry.component)) return std::nullopt;
  return Occurrence{
      .component = entry.component, .start = start, .begins = instant(start), .ends = end(start, length), .id = {}};
}

/// The last one that reaches this occurrence; or null.
const Series::Entry* Series::turn(Dates::Instant id) const {
  const auto next = turns_.upper_bound(id);
  return next == turns_.begin() ? nullptr : &std::prev(next)->second;
}

std::vector<Occurrence> Series::overlapping(Dates::Instant from, Dates::Instant to) const {
  long long steps = 12'000'000;
  return overlapping(from, to, steps);
}

std::vector<Occurrence> Series::overlapping(Dates::Instant from, Dates::Instant to, long long& steps) const {
  std::vector<Occurrence> found;
  const auto take = [&](std::optional<Occurrence> occurrence, const std::optional<Stamp>& id) {
    if (!occurrence || occurrence->begins > to) return;
    if (occurrence->ends <= from && occurrence->begins < from) return;
    if ((steps -= occurrenceSteps) < 0) return;
    occurrence->id = id;
    found.push_back(std::move(*occurrence));
  };
  for (const auto& [id, entry] : replacements_) take(occurrence(entry, entry.start, entry.length), entry.id);
  if (!master_) {
    for (const auto& [id, entry] : turns_) take(occurrence(entry, entry.start, entry.length), entry.id);
    return found;
  }

  const auto slack = reach();
  const Span span{masterWall(from) - slack, masterWall(to) + slack};
  std::set<Dates::Instant> except;
  for (const auto& [rule, until] : exceptRules_)
    expand(rule, master_->start.wall, until, span, steps, [&](Wall wall) {
      if ((steps -= occurrenceSteps) >= 0) except.insert(instant(master_->start.with(wall)));
    });
  std::set<Dates::Instant> seen;
  for (const auto& candidate : candidates(span, steps)) {
    if (steps < 0) break;
    const auto begins = instant(candidate.start);
    if (!seen.insert(begins).second) continue;
    if (replacements_.contains(begins) || except.contains(begins) || isExcluded(candidate.start, begins)) continue;
    const auto id = repeats_ ? std::optional(master_->start.with(masterWall(begins))) : std::nullopt;
    if (const auto* entry = turn(begins)) {
      const auto moved = zones_->wall(begins, entry->start, *calendar_) + shift(*entry);
      take(occurrence(*entry, entry->start.with(moved), entry->length), id);
    } else {
      take(occurrence(*master_, candidate.start, candidate.length.value_or(master_->length)), id);
    }
  }
  return found;
}

// ---- Changing.

void touch(Component& component) {
  const auto now = Stamp::utc(floor<seconds>(Dates::now())).value();
  component.set("DTSTAMP", "", now);
  component.set("LAST-MODIFIED", "", now);
  component.set("SEQUENCE", "", std::to_string(sequence(component) + 1));
}

void Series::setStart(Component& component, const Occurrence& occurrence) const {
  component.set("DTSTART", occurrence.start.parameters(), occurrence.start.value());
  const auto* endLine = component.find("DTEND");
  const auto oldEnd = endLine == nullptr ? std::nullopt : parseStamp(*endLine);
  if (!oldEnd) return;
  const auto end = oldEnd->with(zones_->wall(occurrence.ends, *oldEnd, *calendar_));
  component.set("DTEND", end.parameters(), end.value());
}

Component& Series::edit(const Occurrence& occurrence) {
  const bool isAlone = !occurrence.id || !master_ || replacements_.contains(idInstant(*occurrence.id));
  auto component = occurrence.component;
  if (!isAlone) {
    component = occurrence.component->copy();
    for (const char* name : {"RRULE", "RDATE", "EXRULE", "EXDATE", "RECURRENCE-ID"}) component->remove(name);
    setStart(*component, occurrence);
    component->add("RECURRENCE-ID", occurrence.id->parameters(), occurrence.id->value());
    calendar_->insert(component, occurrence.component.get());
  }
  touch(*component);
  zones_->define(*calendar_);
  return *component;
}

void Series::remove(const Occurrence& occurrence) {
  if (!occurrence.id)
    return calendar_->removeIf([&](const Component& component) { return components_.contains(&component); });
  const auto own = replacements_.find(idInstant(*occurrence.id));
  if (own != replacements_.end()) calendar_->remove(*own->second.component);
  if (!master_) return calendar_->remove(*occurrence.component);
  master_->component->add("EXDATE", occurrence.id->parameters(), occurrence.id->value());
  touch(*master_->component);
  zones_->define(*calendar_);
}

}  // namespace ICalendar
