// Events as the store finds and writes them.
#include <algorithm>

#include "Platform/Text.h"
#include "Platform/linux/stores/CalendarFilter.h"
#include "Platform/linux/stores/CalendarItems.h"
#include "Platform/linux/stores/CalendarStore.h"
#include "Platform/linux/stores/StoreLock.h"
#include "Platform/linux/stores/SystemZones.h"

using CalendarItems::onCalendar;
using ICalendar::Component;
using ICalendar::Stamp;
namespace fs = std::filesystem;

namespace {

using namespace std::chrono;

std::optional<std::string> url(const Component& component) {
  auto text = component.text("URL");  // a URI, which has no escapes but may have been given some
  return text && Text::trim(*text).empty() ? std::nullopt : text;
}

CalendarStore::Event eventOf(const CalendarStore::Place& place, const ICalendar::Occurrence& occurrence) {
  const auto& component = *occurrence.component;
  return {.place = place,
          .id = occurrence.id,
          .begins = occurrence.begins,
          .ends = occurrence.ends,
          .isAllDay = occurrence.start.isDate(),
          .title = component.text("SUMMARY"),
          .location = component.text("LOCATION"),
          .notes = component.text("DESCRIPTION"),
          .url = url(component)};
}

/// What an answer may cost, in steps of some 20 ns: a step for each day or time that a rule looks at, some for each
/// occurrence, and one for a few bytes of its texts. Anybody may send an invitation, so no event may take the others
/// away by repeating each second: one that costs more than its share is passed over, and the share of those to come
/// halves with it, down to what an event of some times a day needs.
class Effort {
 public:
  Effort(Dates::Instant from, Dates::Instant to) : Effort(ceil<days>(to - from).count()) {}

  /// `find` takes off what it spends; where it leaves less than nothing, that wasn't enough, and it's false.
  template <typename Find>
  bool spend(const fs::path& file, bool repeats, const Find& find) {
    const auto given = repeats ? std::min(share_, left_) : left_;
    auto rest = given;
    find(rest);
    left_ -= given - rest;
    spentOnFile_ = (file == file_ ? spentOnFile_ : 0) + given - rest;
    file_ = file;
    if (spentOnFile_ > mostSpent_) mostSpentOn_ = file, mostSpent_ = spentOnFile_;
    if (left_ <= 0) refuse();
    if (rest < 0) share_ = std::max(share_ / 2, leastShare_);
    return rest >= 0;
  }

 private:
  explicit Effort(long long days) : share_(400'000 + 60'000 * days), leastShare_(20'000 + 1'000 * days) {}

  [[noreturn]] void refuse() const {
    throw Error(
        "Between these dates lie more events than one answer can hold. Ask for fewer days; if a few days are too many "
        "already, the owner should look at " +
        mostSpentOn_.string() + ", where most of the events are.");
  }

  long long share_, leastShare_;
  long long left_ = 50'000'000;  // a second or two of work, 200,000 occurrences or 200 MB of texts
  fs::path file_, mostSpentOn_;
  long long spentOnFile_ = 0, mostSpent_ = 0;
};

long long stepsOf(const CalendarStore::Event& event) {
  constexpr long long keeping = 50, bytesAStep = 4;
  std::size_t bytes = 0;
  for (const auto* text : {&event.title, &event.location, &event.notes, &event.url})
    bytes += *text ? (*text)->size() : 0;
  return keeping + static_cast<long long>(bytes) / bytesAStep;
}

struct Found {
  Component::Pointer calendar;
  ICalendar::Series series;
};

std::vector<Found> seriesOf(const ICalendar::Document& document, ICalendar::Zones& zones) {
  std::vector<Found> all;
  for (const auto& calendar : document.calendars)
    for (auto& series : ICalendar::Series::all(calendar, zones)) all.push_back({calendar, std::move(series)});
  return all;
}

bool isSame(const std::optional<Stamp>& a, const std::optional<Stamp>& b) {
  return a.has_value() == b.has_value() && (!a || (a->value() == b->value() && a->zone == b->zone));
}

std::optional<std::pair<ICalendar::Series, ICalendar::Occurrence>> find(const ICalendar::Document& document,
                                                                        ICalendar::Zones& zones,
                                                                        const CalendarStore::Event& event) {
  for (auto& [calendar, series] : seriesOf(document, zones)) {
    if (series.uid() != event.place.uid) continue;
    for (auto& occurrence : series.overlapping(event.begins, event.begins))
      if (occurrence.begins == event.begins && isSame(occurrence.id, event.id)) return std::pair(series, occurrence);
  }
  return std::nullopt;
}

/// Its number counts where several share a UID.
std::optional<Found> findFiled(const ICalendar::Document& document, ICalendar::Zones& zones,
                               const CalendarStore::Place& place) {
  auto all = seriesOf(document, zones);
  const auto isIt = [&](const Found& found) { return found.series.uid() == place.uid; };
  if (place.index < all.size() && isIt(all[place.index])) return std::move(all[place.index]);
  const auto found = std::find_if(all.begin(), all.end(), isIt);
  return found == all.end() ? std::nullopt : std::optional(std::move(*found));
}

void setUrl(Component& component, const std::optional<std::string>& text) {
  if (url(component) == text) return;
  if (text)
    component.set("URL", "", Text::replaceAll(Text::replaceAll(CalendarItems::clean(*text), "\r", ""), "\n", ""));
  else
    component.remove("URL");
}

void setTexts(Component& component, const CalendarStore::Event& event) {
  CalendarItems::setIfOther(component, "SUMMARY", event.title);
  CalendarItems::setIfOther(component, "LOCATION", event.location);
  CalendarItems::setIfOther(component, "DESCRIPTION", event.notes);
  setUrl(component, event.url);
}

/// As files can hold it.
CalendarStore::FiledEvent sound(CalendarStore::FiledEvent event) {
  event.begins = onCalendar(floor<seconds>(event.begins));
  event.ends = onCalendar(floor<seconds>(event.ends));
  if (event.ends < event.begins) throw Error("The event would end before it begins.");
  if (event.recurrence && !ICalendar::parseRule(*event.recurrence)) throw Error("That is no rule to repeat by.");
  return event;
}

bool isUnchanged(const CalendarStore::FiledEvent& a, const CalendarStore::FiledEvent& b) {
  return a.begins == b.begins && a.ends == b.ends && a.isAllDay == b.isAllDay && a.title == b.title &&
         a.location == b.location && a.notes == b.notes && a.url == b.url && a.status == b.status &&
         a.recurrence == b.recurrence;
}

void set(Component& component, const char* name, const Stamp& stamp) {
  component.set(name, stamp.parameters(), stamp.value());
}

void setRule(Component& component, const std::optional<std::string>& rule) {
  if (rule)
    component.set("RRULE", "", *rule);
  else
    component.remove("RRULE");
}

/// What repeats goes by a clock, which its zone's law may change; the owner's clock where its zone has no name.
Stamp ownClock() {
  const auto zone = SystemZones::local();
  return zone ? Stamp{.form = Stamp::Form::zoned, .zone = *zone} : Stamp{};
}

}  // namespace

// ---- Occurrences.

std::vector<CalendarStore::Event> CalendarStore::events(Dates::Instant from, Dates::Instant to) {
  from = onCalendar(from);
  to = onCalendar(to);
  std::vector<Event> events;
  Effort effort(from, to);
  const auto isWanted = [&](std::string_view bytes) { return CalendarFilter::mayOverlap(bytes, from, to); };
  const auto take = [&](Place place, const ICalendar::Document& document) {
    for (const auto& [calendar, series] : seriesOf(document, zones_)) {
      place.uid = series.uid();
      const auto before = events.size();
      const auto find = [&, &event = series](long long& steps) {
        for (const auto& occurrence : event.overlapping(from, to, steps)) {
          if (steps < 0) return;
          events.push_back(eventOf(place, occurrence));
          steps -= stepsOf(events.back());
        }
      };
      if (!effort.spend(calendars_.root() / place.collection / place.file, series.repeats(), find))
        events.resize(before);
    }
  };
  for (const auto& calendar : calendars()) eachFile(calendars_, calendar.id, isWanted, take);
  return events;
}

void CalendarStore::save(const Event& event) {
  write(file(event), [&](ICalendar::Document& document) {
    auto found = find(document, zones_, event);
    if (!found) CalendarItems::refuse(file(event));
    setTexts(found->first.edit(found->second), event);
  });
}

void CalendarStore::remove(const Event& event) {
  write(file(event), [&](ICalendar::Document& document) {
    auto found = find(document, zones_, event);
    if (!found) CalendarItems::refuse(file(event));
    found->first.remove(found->second);
  });
}

// ---- Events as they are filed.

CalendarStore::FiledEvent CalendarStore::filedEvent(Place place, const ICalendar::Series& series) {
  const auto occurrence = series.filed();
  const auto& component = *occurrence.component;
  place.uid = series.uid();
  FiledEvent event{eventOf(place, occurrence), {}, component.text("STATUS"), 0, {}};
  if (const auto* rule = component.find("RRULE")) event.recurrence = rule->value();
  const auto sequence = Text::parseInteger(Text::trim(component.text("SEQUENCE").value_or("")));
  event.sequence = std::clamp(sequence.value_or(0), 0LL, 1'000'000'000LL);
  const auto stamp = CalendarItems::stampOf(component, "DTSTAMP");
  if (stamp && stamp->form == Stamp::Form::utc) event.stamped = sys_seconds(stamp->wall.time_since_epoch());
  return event;
}

std::vector<CalendarStore::FiledEvent> CalendarStore::filedEvents(const std::string& calendar) {
  std::vector<FiledEvent> events;
  const auto all = [](std::string_view) { return true; };
  eachFile(calendars_, calendar, all, [&](Place place, const ICalendar::Document& document) {
    for (const auto& [in, series] : seriesOf(document, zones_)) {
      events.push_back(filedEvent(place, series));
      ++place.index;
    }
  });
  return events;
}

/// What stays keeps its form and its zone; a time that was none before is told in UTC. But UTC won't do for what
/// begins to repeat.
void CalendarStore::setTimes(Component& component, const Component& calendar, const FiledEvent& old,
                             const FiledEvent& event) {
  const bool turnsRepeated = event.recurrence && !old.recurrence && !event.isAllDay;
  const bool isOther = component.find("DTSTART") == nullptr || turnsRepeated || old.isAllDay != event.isAllDay;
  const bool isMoved = isOther || old.begins != event.begins;
  if (!isMoved && old.ends == event.ends) return;
  const auto form = [&](const char* name, const Stamp& otherwise) {
    if (event.isAllDay) return Stamp{.form = Stamp::Form::date};
    const auto stamp = CalendarItems::stampOf(component, name);
    const bool stays = stamp && !stamp->isDate() && !(turnsRepeated && stamp->form == Stamp::Form::utc);
    return stays ? *stamp : otherwise;
  };
  const auto start = form("DTSTART", event.recurrence ? ownClock() : Stamp{.form = Stamp::Form::utc});
  const auto end = form("DTEND", start);
  if (isMoved) set(component, "DTSTART", zones_.stamp(event.begins, start, calendar));
  if (isOther || old.ends != event.ends || component.find("DTEND") == nullptr) setEnd(component, calendar, end, event);
}

/// A day that the end reaches into belongs to an event of days, which has one at least.
void CalendarStore::setEnd(Component& component, const Component& calendar, const Stamp& form,
                           const FiledEvent& event) {
  component.remove("DURATION");
  auto end = zones_.stamp(event.ends, form, calendar);
  if (event.isAllDay) {
    if (zones_.instant(end, calendar) < event.ends) end = end.with(end.wall + days(1));
    end = end.with(std::max(end.wall, zones_.stamp(event.begins, form, calendar).wall + days(1)));
  } else if (event.begins == event.ends) {
    return component.remove("DTEND");  // which has to be later than the start
  }
  set(component, "DTEND", end);
}

CalendarStore::FiledEvent CalendarStore::add(const FiledEvent& wanted) {
  const auto event = sound(wanted);
  const auto item = CalendarItems::make("VEVENT");
  const auto document = CalendarItems::document(item);
  setTimes(*item, *document.calendars.front(), {}, event);
  setTexts(*item, event);
  setRule(*item, event.recurrence);
  CalendarItems::setIfOther(*item, "STATUS", event.status);
  const StoreLock lock(calendars_.lockFile());
  const auto place = create(calendars_, event.place.collection, item, document);
  return filedEvent(place, seriesOf(document, zones_).at(0).series);
}

CalendarStore::FiledEvent CalendarStore::save(const FiledEvent& wanted) {
  const auto event = sound(wanted);
  FiledEvent result;
  write(file(event), [&](ICalendar::Document& document) {
    auto found = findFiled(document, zones_, event.place);
    if (!found) CalendarItems::refuse(file(event));
    const auto old = result = filedEvent(event.place, found->series);
    if (isUnchanged(old, event)) return;
    const bool isMoved = old.begins != event.begins || old.isAllDay != event.isAllDay;
    if (isMoved && found->series.repeats())
      throw Error("The event repeats, so its start stays: the dates that it repeats on hang on it.");
    if (old.recurrence != event.recurrence && found->series.hasReplacements())
      throw Error("Single dates of the event were changed, so its rule stays.");
    auto& component = found->series.edit(found->series.filed());
    setTimes(component, *found->calendar, old, event);
    setTexts(component, event);
    if (old.recurrence != event.recurrence) setRule(component, event.recurrence);
    CalendarItems::setIfOther(component, "STATUS", event.status);
    zones_.define(*found->calendar);
    result = filedEvent(event.place, findFiled(document, zones_, event.place)->series);
  });
  return result;
}

void CalendarStore::remove(const FiledEvent& event) {
  write(file(event), [&](ICalendar::Document& document) {
    auto found = findFiled(document, zones_, event.place);
    if (!found) CalendarItems::refuse(file(event));
    found->series.remove(found->series.filed());
  });
}

void CalendarStore::removeCalendar(const std::string& calendar) {
  const StoreLock lock(calendars_.lockFile());
  calendars_.remove({calendar});
}
