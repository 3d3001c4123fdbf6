// Reminders (VTODO) as the store finds and writes them.
#include <algorithm>
#include <map>
#include <set>

#include "Platform/Files.h"
#include "Platform/Text.h"
#include "Platform/linux/stores/CalendarItems.h"
#include "Platform/linux/stores/CalendarStore.h"
#include "Platform/linux/stores/StoreLock.h"

namespace fs = std::filesystem;
using CalendarItems::onCalendar;
using ICalendar::Component;
using ICalendar::Stamp;

namespace {

using namespace std::chrono;

// No standard has a name for it.
constexpr const char* flag = "X-TAVRO-FLAGGED";

bool isCompleted(const Component& todo) {
  if (const auto status = todo.text("STATUS")) return Text::equalIgnoringCase(Text::trim(*status), "COMPLETED");
  return todo.find("COMPLETED") != nullptr;
}

const Stamp floating{};

std::optional<CalendarStore::Due> dueOf(const Component& todo, const Component& calendar, ICalendar::Zones& zones) {
  const auto stamp = CalendarItems::stampOf(todo, "DUE");
  if (!stamp) return std::nullopt;
  if (stamp->isDate()) return CalendarStore::Due{.at = stamp->wall, .hasTime = false};
  return CalendarStore::Due{.at = zones.wall(zones.instant(*stamp, calendar), floating, calendar), .hasTime = true};
}

std::optional<Dates::Instant> instantOf(const Component& component, const char* name) {
  const auto stamp = CalendarItems::stampOf(component, name);
  if (!stamp || stamp->form != Stamp::Form::utc) return std::nullopt;
  return Dates::Instant(seconds(stamp->wall.time_since_epoch()));
}

int priorityOf(const Component& todo) {
  constexpr long long lowest = 9;
  const auto number = Text::parseInteger(Text::trim(todo.text("PRIORITY").value_or(""))).value_or(0);
  return number < 0 || number > lowest ? 0 : static_cast<int>(number);
}

bool isFlagged(const Component& todo) {
  return Text::equalIgnoringCase(Text::trim(todo.text(flag).value_or("")), "TRUE");
}

/// What a file can't hold would become another date, unknown to whoever asked for it.
void requireOnCalendar(Dates::Instant due) {
  if (onCalendar(due) != due)
    throw Error("A reminder can't be due that early or late: calendar files go from 2 January 1 to 30 December 9999.");
}

void setTrigger(Component& alarm, Dates::Instant instant) {
  alarm.set("TRIGGER", ";VALUE=DATE-TIME", CalendarItems::utc(instant));
}

// ---- Which one.

struct Found {
  Component::Pointer calendar, todo;
};

/// The to-dos of a file. One that repeats counts once.
std::vector<Found> todosOf(const ICalendar::Document& document) {
  std::vector<Found> todos;
  for (const auto& calendar : document.calendars)
    for (const auto& todo : calendar->components("VTODO"))
      if (todo->find("RECURRENCE-ID") == nullptr) todos.push_back({calendar, todo});
  return todos;
}

class Todos {
 public:
  explicit Todos(const ICalendar::Document& document) : todos_(todosOf(document)) {
    for (const auto& found : todos_) byUid_.emplace(CalendarItems::uidOf(*found.todo), found);
  }

  /// The one that `place` means; its number counts where several share a UID.
  Found at(const CalendarStore::Place& place) const {
    if (place.index < todos_.size() && CalendarItems::uidOf(*todos_[place.index].todo) == place.uid)
      return todos_[place.index];
    const auto found = byUid_.find(place.uid);
    return found == byUid_.end() ? Found() : found->second;
  }

 private:
  std::vector<Found> todos_;
  std::map<std::string, Found> byUid_;  // the first of each
};

void removeTodos(ICalendar::Document& document, const std::vector<const CalendarStore::Reminder*>& reminders,
                 const fs::path& path) {
  const Todos todos(document);
  std::set<const Component*> gone;  // all found before the first goes, so that their numbers hold
  std::set<std::string> uids;
  for (const auto* reminder : reminders) {
    const auto todo = todos.at(reminder->place).todo;
    if (!todo) CalendarItems::refuse(path);
    gone.insert(todo.get());
    uids.insert(CalendarItems::uidOf(*todo));
  }
  for (const auto& calendar : document.calendars)
    calendar->removeIf([&](const Component& component) {
      const bool isOccurrence = component.name() == "VTODO" && component.find("RECURRENCE-ID") != nullptr;
      return gone.contains(&component) || (isOccurrence && uids.contains(CalendarItems::uidOf(component)));
    });
}

bool isUnchanged(const CalendarStore::Reminder& a, const CalendarStore::Reminder& b) {
  return a.title == b.title && a.notes == b.notes && a.isCompleted == b.isCompleted && a.completedAt == b.completedAt &&
         a.due == b.due && a.priority == b.priority && a.isFlagged == b.isFlagged && a.remindsAt == b.remindsAt &&
         a.alarms == b.alarms;
}

// ---- Small changes.

void setCompleted(Component& todo, const std::optional<Dates::Instant>& at) {
  for (const char* name : {"STATUS", "COMPLETED", "PERCENT-COMPLETE"})
    if (!at) todo.remove(name);
  if (!at) return;
  todo.set("STATUS", "", "COMPLETED");
  todo.set("COMPLETED", "", CalendarItems::utc(*at));
  todo.set("PERCENT-COMPLETE", "", "100");
}

/// The first alarm that has a time of its own; made where there is none.
void setRemindsAt(Component& todo, const std::optional<Dates::Instant>& at) {
  for (const auto& alarm : todo.components("VALARM")) {
    if (!instantOf(*alarm, "TRIGGER")) continue;
    return at ? setTrigger(*alarm, *at) : todo.remove(*alarm);
  }
  if (!at) return;
  const auto alarm = std::make_shared<Component>("VALARM", "\r\n");
  alarm->add("ACTION", "", "DISPLAY");
  alarm->setText("DESCRIPTION", todo.text("SUMMARY").value_or(""));
  setTrigger(*alarm, *at);
  todo.insert(alarm, nullptr);
}

void setAlarms(Component& todo, const std::vector<std::optional<Dates::Instant>>& wanted) {
  const auto alarms = todo.components("VALARM");
  for (std::size_t index = 0; index < std::min(alarms.size(), wanted.size()); ++index)
    if (wanted[index] && instantOf(*alarms[index], "TRIGGER") != wanted[index])
      setTrigger(*alarms[index], *wanted[index]);
}

// ---- What repeats.

bool repeats(const Component& todo) { return todo.find("RRULE") != nullptr || todo.find("RDATE") != nullptr; }

/// Where the rule starts to count: DTSTART, or DUE of a to-do that has none.
const char* anchorOf(const Component& todo) { return todo.find("DTSTART") != nullptr ? "DTSTART" : "DUE"; }

/// An event that happens when the to-do's rule says.
Component::Pointer dates(const Component& todo, const Component& calendar) {
  const auto event = std::make_shared<Component>("VEVENT", "\r\n");
  const auto* anchor = todo.find(anchorOf(todo));
  event->add("DTSTART", anchor->parameters, anchor->value());
  for (const char* name : {"RRULE", "RDATE", "EXRULE", "EXDATE"})
    for (const auto* line : todo.all(name)) event->add(name, line->parameters, line->value());
  const auto whole = std::make_shared<Component>("VCALENDAR", "\r\n");
  for (const auto& zone : calendar.components("VTIMEZONE")) whole->insert(zone, nullptr);
  whole->insert(event, nullptr);
  return whole;
}

/// The first date from `from` on. Rules without one are looked through for a century.
std::optional<Dates::Instant> firstFrom(const ICalendar::Series& series, Dates::Instant from) {
  for (const auto span : {days(40), days(400), days(4'000), days(40'000)}) {
    auto found = series.overlapping(from, onCalendar(from + span));
    std::erase_if(found, [&](const auto& occurrence) { return occurrence.begins < from; });
    const auto first =
        std::min_element(found.begin(), found.end(), [](const auto& a, const auto& b) { return a.begins < b.begins; });
    if (first != found.end()) return first->begins;
  }
  return std::nullopt;
}

/// A rule that ends after so many times has fewer left from `to` on.
void countDown(Component& todo, ICalendar::Wall from, ICalendar::Wall to) {
  const auto* line = todo.find("RRULE");
  const auto rule = line == nullptr ? std::nullopt : ICalendar::parseRule(line->value());
  if (!rule || !rule->count) return;
  int passed = 0;
  ICalendar::expand(*rule, from, std::nullopt, {from, to - seconds(1)}, [&](ICalendar::Wall) { ++passed; });
  auto parts = Text::split(line->value(), ';');
  for (auto& part : parts)
    if (ContentLines::uppercase(Text::trim(part)).starts_with("COUNT="))
      part = "COUNT=" + std::to_string(std::max(1, *rule->count - passed));
  todo.set("RRULE", line->parameters, Text::join(parts, ";"));
}

}  // namespace

// ---- Reading.

CalendarStore::Reminder CalendarStore::reminder(Place place, const Component& todo, const Component& calendar) {
  place.uid = CalendarItems::uidOf(todo);
  Reminder reminder{.place = place,
                    .title = todo.text("SUMMARY"),
                    .notes = todo.text("DESCRIPTION"),
                    .isCompleted = isCompleted(todo),
                    .completedAt = isCompleted(todo) ? instantOf(todo, "COMPLETED") : std::nullopt,
                    .due = dueOf(todo, calendar, zones_),
                    .priority = priorityOf(todo),
                    .isFlagged = isFlagged(todo),
                    .remindsAt = {},
                    .alarms = {},
                    .created = instantOf(todo, "CREATED"),
                    .modified = instantOf(todo, "LAST-MODIFIED")};
  for (const auto& alarm : todo.components("VALARM")) {
    reminder.alarms.push_back(instantOf(*alarm, "TRIGGER"));
    if (!reminder.remindsAt) reminder.remindsAt = reminder.alarms.back();
  }
  return reminder;
}

std::vector<CalendarStore::Reminder> CalendarStore::reminders(const std::string& list) {
  std::vector<Reminder> reminders;
  const auto all = [](std::string_view) { return true; };
  eachFile(lists_, list, all, [&](Place place, const ICalendar::Document& document) {
    for (const auto& [calendar, todo] : todosOf(document)) {
      reminders.push_back(reminder(place, *todo, *calendar));
      ++place.index;
    }
  });
  return reminders;
}

std::vector<CalendarStore::Reminder> CalendarStore::reminders() {
  std::vector<Reminder> all;
  for (const auto& list : lists())
    for (auto& reminder : reminders(list.id)) all.push_back(std::move(reminder));
  return all;
}

// ---- Writing.

/// A time keeps the zone that it is told in. The start moves along, for it has to be of the same kind and no later.
void CalendarStore::setDue(Component& todo, const Component& calendar, const std::optional<Due>& due) {
  const auto old = dueOf(todo, calendar, zones_);
  if (due) requireOnCalendar(zones_.instant({.wall = due->at}, calendar));
  todo.remove("DURATION");
  if (!due) return todo.remove("DUE");
  auto form = CalendarItems::stampOf(todo, "DUE").value_or(Stamp{.form = Stamp::Form::date});
  if (!due->hasTime) form = {.form = Stamp::Form::date};
  if (due->hasTime && form.isDate()) form = {.form = Stamp::Form::utc};
  const auto set = [&](const char* name, ICalendar::Wall local) {
    const auto stamp = zones_.stamp(onCalendar(zones_.instant({.wall = local}, calendar)), form, calendar);
    todo.set(name, stamp.parameters(), stamp.value());
  };
  if (const auto start = CalendarItems::stampOf(todo, "DTSTART")) {
    const auto begins = zones_.wall(zones_.instant(*start, calendar), floating, calendar);
    set("DTSTART", std::min(due->at, old ? begins + (due->at - old->at) : begins));
  }
  set("DUE", due->at);
}

void CalendarStore::change(Component& todo, const Component& calendar, const Reminder& old, const Reminder& reminder) {
  CalendarItems::setIfOther(todo, "SUMMARY", reminder.title);
  CalendarItems::setIfOther(todo, "DESCRIPTION", reminder.notes);
  if (old.due != reminder.due) setDue(todo, calendar, reminder.due);
  if (old.priority != reminder.priority) todo.set("PRIORITY", "", std::to_string(reminder.priority));
  if (old.isFlagged != reminder.isFlagged)
    todo.setText(flag, reminder.isFlagged ? std::optional<std::string>("TRUE") : std::nullopt);
  if (old.remindsAt != reminder.remindsAt)
    setRemindsAt(todo, reminder.remindsAt);
  else
    setAlarms(todo, reminder.alarms);
  if (old.isCompleted == reminder.isCompleted && old.completedAt == reminder.completedAt) return;
  setCompleted(todo, reminder.isCompleted ? std::optional(reminder.completedAt.value_or(Dates::now())) : std::nullopt);
}

/// The next date that isn't past.
std::optional<Dates::Instant> CalendarStore::nextDate(const Component& todo, const Component& calendar,
                                                      const ICalendar::Stamp& anchor) {
  const auto all = ICalendar::Series::all(dates(todo, calendar), zones_);
  Dates::Instant present = floor<seconds>(Dates::now());
  if (anchor.isDate()) present = zones_.instant(zones_.stamp(present, anchor, calendar), calendar);
  const auto began = zones_.instant(anchor, calendar);
  return all.empty() ? std::nullopt : firstFrom(all.front(), std::max(began + seconds(1), present));
}

/// False where there is no next date, or nothing to count from.
bool CalendarStore::moveOn(Component& todo, const Component& calendar) {
  const auto anchor = CalendarItems::stampOf(todo, anchorOf(todo));
  const auto next = anchor ? nextDate(todo, calendar, *anchor) : std::nullopt;
  if (!next) return false;
  const auto shift = zones_.wall(*next, *anchor, calendar) - anchor->wall;
  countDown(todo, anchor->wall, anchor->wall + shift);
  for (const char* name : {"DTSTART", "DUE"}) {
    const auto stamp = CalendarItems::stampOf(todo, name);
    if (!stamp) continue;
    const auto then = onCalendar(zones_.instant(stamp->with(stamp->wall + shift), calendar));
    const auto moved = zones_.stamp(then, *stamp, calendar);
    todo.set(name, moved.parameters(), moved.value());
  }
  const auto ahead = *next - zones_.instant(*anchor, calendar);
  for (const auto& alarm : todo.components("VALARM"))
    if (const auto at = instantOf(*alarm, "TRIGGER")) setTrigger(*alarm, *at + ahead);
  setCompleted(todo, std::nullopt);
  return true;
}

/// What is kept of the date that is done.
ICalendar::Document CalendarStore::completedCopy(const Component& todo, const Component& calendar,
                                                 const Reminder& reminder) {
  const auto copy = todo.copy();
  for (const char* name : {"RRULE", "RDATE", "EXRULE", "EXDATE"}) copy->remove(name);
  copy->set("UID", "", CalendarItems::uidOf(*CalendarItems::make("VTODO")));
  setCompleted(*copy, reminder.completedAt.value_or(Dates::now()));
  ICalendar::touch(*copy);
  auto document = CalendarItems::document(copy);
  for (const auto& zone : calendar.components("VTIMEZONE")) document.calendars.front()->insertFirst(zone->copy());
  return document;
}

CalendarStore::Reminder CalendarStore::add(const Reminder& reminder) {
  const auto item = CalendarItems::make("VTODO");
  const auto document = CalendarItems::document(item);
  const auto& calendar = *document.calendars.front();
  change(*item, calendar, {}, reminder);
  const StoreLock lock(lists_.lockFile());
  return this->reminder(create(lists_, reminder.place.collection, item, document), *item, calendar);
}

/// What is kept of the date that is done goes to a file of its own, which is given. The last date has none.
std::optional<fs::path> CalendarStore::completeOnce(Component& todo, const Component& calendar, const Reminder& old,
                                                    const Reminder& reminder) {
  auto open = reminder;
  open.isCompleted = false;
  open.completedAt = old.completedAt;
  change(todo, calendar, old, open);
  const auto done = completedCopy(todo, calendar, reminder);
  if (!moveOn(todo, calendar)) {
    setCompleted(todo, reminder.completedAt.value_or(Dates::now()));
    return std::nullopt;
  }
  const auto item = done.calendars.front()->components("VTODO").front();
  const auto place = create(lists_, reminder.place.collection, item, done);
  return lists_.root() / place.collection / place.file;
}

CalendarStore::Reminder CalendarStore::save(const Reminder& reminder) {
  Reminder result;
  std::optional<fs::path> copy;
  const auto change = [&](ICalendar::Document& document) {
    const auto [calendar, todo] = Todos(document).at(reminder.place);
    if (!todo) CalendarItems::refuse(file(reminder));
    const auto old = result = this->reminder(reminder.place, *todo, *calendar);
    if (isUnchanged(old, reminder)) return;
    if (repeats(*todo) && !old.isCompleted && reminder.isCompleted)
      copy = completeOnce(*todo, *calendar, old, reminder);
    else
      this->change(*todo, *calendar, old, reminder);
    ICalendar::touch(*todo);
    zones_.define(*calendar);
    result = this->reminder(reminder.place, *todo, *calendar);
  };
  try {
    write(file(reminder), change);
  } catch (...) {
    if (copy) Files::remove(*copy);
    throw;
  }
  return result;
}

// ---- Removing.

void CalendarStore::check(const Reminder& reminder) {
  const auto path = file(reminder);
  std::error_code failure;
  const auto written = fs::last_write_time(path, failure);
  if (failure || !checked_ || checked_->path != path || checked_->written != written) {
    const auto document = ICalendar::parse(unchanged(path));
    if (!document) CalendarItems::refuse(path);
    checked_ = {.path = path, .written = written, .uids = {}};
    for (const auto& found : todosOf(*document)) checked_->uids.insert(CalendarItems::uidOf(*found.todo));
  }
  if (!checked_->uids.contains(reminder.place.uid)) CalendarItems::refuse(path);
}

void CalendarStore::remove(const std::vector<Reminder>& reminders, const std::vector<std::string>& lists) {
  const StoreLock lock(lists_.lockFile());
  std::map<fs::path, std::vector<const Reminder*>> byFile;
  for (const auto& reminder : reminders) byFile[file(reminder)].push_back(&reminder);
  std::map<fs::path, std::string> written;  // all of them known before the first is written
  for (const auto& [path, ofFile] : byFile)
    written[path] = changed(path, [&, &where = path, &gone = ofFile](ICalendar::Document& document) {
      removeTodos(document, gone, where);
    });
  std::error_code failure;
  for (const auto& [path, bytes] : written) {
    requireWritable(path);
    requireWritable((bytes.empty() ? path : fs::weakly_canonical(path, failure)).parent_path());
  }
  lists_.requireRemovable(lists);
  for (const auto& [path, bytes] : written) write(path, bytes);
  lists_.remove(lists);
}
