#include "Platform/linux/stores/CalendarStore.h"

#include <algorithm>
#include <cerrno>
#include <set>

#include "Platform/Files.h"
#include "Platform/Text.h"
#include "Platform/Uuid.h"
#include "Platform/linux/stores/CalendarFilter.h"
#include "Platform/linux/stores/StoreLock.h"

namespace fs = std::filesystem;
using ICalendar::Component;
using ICalendar::Stamp;

namespace {

using namespace std::chrono;

std::size_t mark(const std::string& bytes) { return std::hash<std::string>()(bytes); }

[[noreturn]] void refuse(const fs::path& path) {
  throw Error("The calendar file " + path.string() +
              " was changed by another program since it was read; nothing was written to it. Try again.");
}

fs::path lockFile(const fs::path& collection) {
  const auto root = collection.parent_path();  // beside: the collection may be synchronized
  return root.parent_path() / ("." + root.filename().string() + ".lock");
}

/// Times that files can't hold are as good as the first or the last that they can.
Dates::Instant onCalendar(Dates::Instant instant) {
  constexpr sys_days first = year(1) / January / 2, last = year(9999) / December / 30;
  return std::clamp(instant, Dates::Instant(first), Dates::Instant(last));
}

// ---- Events.

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

std::vector<ICalendar::Series> seriesOf(const ICalendar::Document& document, ICalendar::Zones& zones) {
  std::vector<ICalendar::Series> all;
  for (const auto& calendar : document.calendars)
    for (auto& series : ICalendar::Series::all(calendar, zones)) all.push_back(std::move(series));
  return all;
}

struct Found {
  ICalendar::Series series;
  ICalendar::Occurrence occurrence;
};

bool isSame(const std::optional<Stamp>& a, const std::optional<Stamp>& b) {
  return a.has_value() == b.has_value() && (!a || (a->value() == b->value() && a->zone == b->zone));
}

std::optional<Found> find(const ICalendar::Document& document, ICalendar::Zones& zones,
                          const CalendarStore::Event& event) {
  for (auto& series : seriesOf(document, zones)) {
    if (series.uid() != event.place.uid) continue;
    for (auto& occurrence : series.overlapping(event.begins, event.begins))
      if (occurrence.begins == event.begins && isSame(occurrence.id, event.id)) return Found{series, occurrence};
  }
  return std::nullopt;
}

void setIfOther(Component& component, const char* name, const std::optional<std::string>& text) {
  if (component.text(name) != text) component.setText(name, text);
}

void setUrl(Component& component, const std::optional<std::string>& text) {
  if (url(component) == text) return;
  if (text)
    component.set("URL", "", *text);
  else
    component.remove("URL");
}

bool hasItems(const ICalendar::Document& document) {
  return std::any_of(document.calendars.begin(), document.calendars.end(), [](const auto& calendar) {
    return !calendar->components("VEVENT").empty() || !calendar->components("VTODO").empty() ||
           !calendar->components("VJOURNAL").empty();
  });
}

// ---- Reminders.

bool isCompleted(const Component& todo) {
  if (const auto status = todo.text("STATUS")) return Text::equalIgnoringCase(Text::trim(*status), "COMPLETED");
  return todo.find("COMPLETED") != nullptr;
}

std::optional<Stamp> stampOf(const Component& component, const char* name) {
  const auto* line = component.find(name);
  return line == nullptr ? std::nullopt : ICalendar::parseStamp(*line);
}

const Stamp floating{};

std::optional<CalendarStore::Due> dueOf(const Component& todo, const Component& calendar, ICalendar::Zones& zones) {
  const auto stamp = stampOf(todo, "DUE");
  if (!stamp) return std::nullopt;
  if (stamp->isDate()) return CalendarStore::Due{.at = stamp->wall, .hasTime = false};
  return CalendarStore::Due{.at = zones.wall(zones.instant(*stamp, calendar), floating, calendar), .hasTime = true};
}

std::optional<Dates::Instant> triggerOf(const Component& alarm) {
  const auto stamp = stampOf(alarm, "TRIGGER");
  if (!stamp || stamp->form != Stamp::Form::utc) return std::nullopt;
  return Dates::Instant(seconds(stamp->wall.time_since_epoch()));
}

void setTrigger(Component& alarm, Dates::Instant instant) {
  const Stamp stamp{.wall = ICalendar::Wall(floor<seconds>(onCalendar(instant)).time_since_epoch()),
                    .form = Stamp::Form::utc};
  alarm.set("TRIGGER", ";VALUE=DATE-TIME", stamp.value());
}

/// The to-dos of a file. One that repeats counts once.
std::vector<std::pair<const Component*, Component::Pointer>> todosOf(const ICalendar::Document& document) {
  std::vector<std::pair<const Component*, Component::Pointer>> todos;
  for (const auto& calendar : document.calendars)
    for (const auto& todo : calendar->components("VTODO"))
      if (todo->find("RECURRENCE-ID") == nullptr) todos.emplace_back(calendar.get(), todo);
  return todos;
}

std::string uidOf(const Component& component) { return std::string(Text::trim(component.text("UID").value_or(""))); }

/// The one that `place` means, with its calendar; its number counts where several share a UID.
std::pair<const Component*, Component::Pointer> todoOf(const ICalendar::Document& document,
                                                       const CalendarStore::Place& place) {
  const auto todos = todosOf(document);
  const auto isIt = [&](const auto& todo) { return uidOf(*todo.second) == place.uid; };
  if (place.index < todos.size() && isIt(todos[place.index])) return todos[place.index];
  const auto found = std::find_if(todos.begin(), todos.end(), isIt);
  return found == todos.end() ? std::pair<const Component*, Component::Pointer>() : *found;
}

void removeTodos(ICalendar::Document& document, const std::vector<const CalendarStore::Reminder*>& reminders,
                 const fs::path& path) {
  std::vector<Component::Pointer> gone;  // all found before the first goes, so that their numbers hold
  for (const auto* reminder : reminders) gone.push_back(todoOf(document, reminder->place).second);
  for (const auto& todo : gone) {
    if (!todo) refuse(path);
    for (const auto& calendar : document.calendars) {
      calendar->remove(*todo);
      for (const auto& other : calendar->components("VTODO"))  // single occurrences of one that repeats
        if (other->find("RECURRENCE-ID") != nullptr && uidOf(*other) == uidOf(*todo)) calendar->remove(*other);
    }
  }
}

void touch(Component& todo) {
  const Stamp now{.wall = ICalendar::Wall(floor<seconds>(Dates::now()).time_since_epoch()), .form = Stamp::Form::utc};
  const auto sequence = Text::parseInteger(Text::trim(todo.text("SEQUENCE").value_or(""))).value_or(0);
  todo.set("DTSTAMP", "", now.value());
  todo.set("LAST-MODIFIED", "", now.value());
  todo.set("SEQUENCE", "", std::to_string(std::clamp(sequence, 0LL, 1'000'000'000LL) + 1));
}

}  // namespace

CalendarStore::CalendarStore(const fs::path& root) : calendars_(root / "calendars"), lists_(root / "reminders") {}

// ---- Directories and files.

std::vector<CalendarStore::Collection> CalendarStore::collections(const fs::path& root) {
  std::vector<Collection> found;
  for (const auto& name : Files::listIfPossible(root)) {
    if (name.front() == '.' || !Files::isDirectory(root / name)) continue;
    const auto written = Files::readIfPossible(root / name / "displayname").value_or("");
    const auto title = Text::trim(written);
    found.push_back({.id = name, .title = Text::repairUTF8(std::string(title.empty() ? name : title))});
  }
  return found;
}

void CalendarStore::eachFile(const fs::path& root, const std::function<bool(std::string_view)>& isWanted,
                             const std::function<void(const Place&, const ICalendar::Document&)>& take) {
  for (const auto& collection : collections(root)) {
    for (const auto& name : Files::listIfPossible(root / collection.id)) {
      const auto path = root / collection.id / name;
      if (name.front() == '.' || path.extension() != ".ics") continue;
      const auto bytes = Files::readIfPossible(path);
      if (!bytes || !isWanted(*bytes)) continue;
      const auto document = ICalendar::parse(*bytes);
      if (!document) continue;
      seen_[path] = mark(*bytes);
      take({.collection = collection.id, .file = name, .uid = {}}, *document);
    }
  }
}

/// The bytes of a file that is as it was when we saw it last. Throws.
std::string CalendarStore::unchanged(const fs::path& path) const {
  auto bytes = Files::read(path);
  if (!bytes)
    throw Error("The calendar file " + path.string() + " was removed by another program; nothing was changed.");
  const auto seen = seen_.find(path);
  if (seen == seen_.end() || seen->second != mark(*bytes)) refuse(path);
  return std::move(*bytes);
}

/// What becomes of the file; empty when nothing is left to keep.
std::string CalendarStore::changed(const fs::path& path, const Change& change) const {
  auto document = ICalendar::parse(unchanged(path));
  if (!document) refuse(path);
  change(*document);
  return hasItems(*document) ? document->bytes() : "";
}

void CalendarStore::write(const fs::path& path, const std::string& bytes) {
  if (bytes.empty()) {
    Files::remove(path);
    seen_.erase(path);
  } else {
    Files::replace(path, bytes);
    seen_[path] = mark(bytes);
  }
}

void CalendarStore::write(const fs::path& path, const Change& change) {
  const StoreLock lock(lockFile(path.parent_path()));
  write(path, changed(path, change));
}

// ---- Events.

std::vector<CalendarStore::Event> CalendarStore::events(Dates::Instant from, Dates::Instant to) {
  from = onCalendar(from);
  to = onCalendar(to);
  std::vector<Event> events;
  const auto isWanted = [&](std::string_view bytes) { return CalendarFilter::mayOverlap(bytes, from, to); };
  eachFile(calendars_, isWanted, [&](Place place, const ICalendar::Document& document) {
    for (const auto& series : seriesOf(document, zones_)) {
      place.uid = series.uid();
      for (const auto& occurrence : series.overlapping(from, to)) events.push_back(eventOf(place, occurrence));
    }
  });
  return events;
}

void CalendarStore::save(const Event& event) {
  const auto path = calendars_ / event.place.collection / event.place.file;
  write(path, [&](ICalendar::Document& document) {
    auto found = find(document, zones_, event);
    if (!found) refuse(path);
    auto& component = found->series.edit(found->occurrence);
    setIfOther(component, "SUMMARY", event.title);
    setIfOther(component, "LOCATION", event.location);
    setIfOther(component, "DESCRIPTION", event.notes);
    setUrl(component, event.url);
  });
}

void CalendarStore::remove(const Event& event) {
  const auto path = calendars_ / event.place.collection / event.place.file;
  write(path, [&](ICalendar::Document& document) {
    auto found = find(document, zones_, event);
    if (!found) refuse(path);
    found->series.remove(found->occurrence);
  });
}

// ---- Reminders.

std::vector<CalendarStore::Reminder> CalendarStore::reminders() {
  std::vector<Reminder> reminders;
  const auto all = [](std::string_view) { return true; };
  eachFile(lists_, all, [&](Place place, const ICalendar::Document& document) {
    for (const auto& [calendar, todo] : todosOf(document)) {
      place.uid = uidOf(*todo);
      Reminder reminder{.place = place,
                        .title = todo->text("SUMMARY"),
                        .isCompleted = isCompleted(*todo),
                        .due = dueOf(*todo, *calendar, zones_),
                        .alarms = {}};
      for (const auto& alarm : todo->components("VALARM")) reminder.alarms.push_back(triggerOf(*alarm));
      reminders.push_back(std::move(reminder));
      ++place.index;
    }
  });
  return reminders;
}

void CalendarStore::save(const Reminder& reminder) {
  const auto path = lists_ / reminder.place.collection / reminder.place.file;
  write(path, [&](ICalendar::Document& document) {
    const auto [calendar, todo] = todoOf(document, reminder.place);
    if (!todo) refuse(path);
    if (dueOf(*todo, *calendar, zones_) != reminder.due) setDue(*todo, *calendar, reminder.due);
    const auto alarms = todo->components("VALARM");
    for (std::size_t index = 0; index < std::min(alarms.size(), reminder.alarms.size()); ++index)
      if (reminder.alarms[index] && triggerOf(*alarms[index]) != reminder.alarms[index])
        setTrigger(*alarms[index], *reminder.alarms[index]);
    touch(*todo);
  });
}

/// A time keeps the zone that it is told in. The start moves along, for it has to be of the same kind and no later.
void CalendarStore::setDue(Component& todo, const Component& calendar, const std::optional<Due>& due) {
  const auto old = dueOf(todo, calendar, zones_);
  todo.remove("DURATION");
  if (!due) return todo.remove("DUE");
  auto form = stampOf(todo, "DUE").value_or(Stamp{.form = Stamp::Form::date});
  if (!due->hasTime) form = {.form = Stamp::Form::date};
  if (due->hasTime && form.isDate()) form = {.form = Stamp::Form::utc};
  const auto set = [&](const char* name, ICalendar::Wall local) {
    const auto instant = onCalendar(zones_.instant({.wall = local}, calendar));
    const auto stamp = form.with(zones_.wall(instant, form, calendar));
    todo.set(name, stamp.parameters(), stamp.value());
  };
  if (const auto start = stampOf(todo, "DTSTART")) {
    const auto begins = zones_.wall(zones_.instant(*start, calendar), floating, calendar);
    set("DTSTART", std::min(due->at, old ? begins + (due->at - old->at) : begins));
  }
  set("DUE", due->at);
}

void CalendarStore::check(const Reminder& reminder) {
  const auto path = lists_ / reminder.place.collection / reminder.place.file;
  const auto document = ICalendar::parse(unchanged(path));
  if (!document || !todoOf(*document, reminder.place).second) refuse(path);
}

void CalendarStore::remove(const std::vector<Reminder>& reminders, const std::vector<std::string>& lists) {
  const StoreLock lock(lockFile(lists_ / "list"));
  std::map<fs::path, std::vector<const Reminder*>> byFile;
  for (const auto& reminder : reminders)
    byFile[lists_ / reminder.place.collection / reminder.place.file].push_back(&reminder);
  std::map<fs::path, std::string> written;  // all of them known before the first is written
  for (const auto& [path, ofFile] : byFile)
    written[path] = changed(
        path, [&, &file = path, &gone = ofFile](ICalendar::Document& document) { removeTodos(document, gone, file); });
  for (const auto& [path, bytes] : written) write(path, bytes);
  removeLists(lists);
}

/// They lose their names first, all or none, and then what is in them.
void CalendarStore::removeLists(const std::vector<std::string>& lists) const {
  std::vector<std::pair<fs::path, fs::path>> hidden;
  for (const auto& list : lists) {
    const auto path = lists_ / list, aside = lists_ / ("." + Uuid::random() + ".tmp");
    std::error_code failure;
    fs::rename(path, aside, failure);
    if (!failure) {
      hidden.emplace_back(path, aside);
      continue;
    }
    std::error_code ignored;
    for (const auto& [old, present] : hidden) fs::rename(present, old, ignored);
    throw FileFailure("remove", path, failure.value());
  }
  for (const auto& [path, aside] : hidden) Files::remove(aside);
}
