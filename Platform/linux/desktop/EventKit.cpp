// Events and reminders over the calendar files of the desktop. There is no thread: completions run before the
// question returns.
#include "Platform/EventKit.h"

#include <algorithm>
#include <utility>
#include <variant>

#include "Platform/Desktop.h"
#include "Platform/linux/stores/CalendarStore.h"
#include "Platform/linux/stores/Permissions.h"

using std::chrono::local_days;

struct EKStoredItem {
  std::variant<CalendarStore::Event, CalendarStore::Reminder> item;  // an event without its texts, which its reader has
};

struct EKEventStore::Desk {
  CalendarStore store{Desktop::root()};
  std::vector<CalendarStore::Reminder> goingReminders;  // with the next commit
  std::vector<std::string> goingLists;
};

namespace {

Permissions::Subject subject(EKEntityType entity) {
  return entity == EKEntityType::event ? Permissions::Subject::events : Permissions::Subject::reminders;
}

bool hasAccess(EKEntityType entity) {
  return EKEventStore::authorizationStatus(entity) == EKAuthorizationStatus::fullAccess;
}

void requireAccess(EKEntityType entity) {
  if (!hasAccess(entity))
    throw Error(std::string("no access to the ") + (entity == EKEntityType::event ? "calendars" : "reminders"));
}

template <typename Kind>
const Kind& storedIn(const std::shared_ptr<const EKStoredItem>& stored) {
  const auto* item = stored == nullptr ? nullptr : std::get_if<Kind>(&stored->item);
  if (item == nullptr) throw Error("the item isn't one that the store gave");
  return *item;
}

void request(EKEntityType entity, const EKEventStore::RequestCompletion& completion) {
  std::optional<Error> failure;
  bool isGranted = false;
  try {
    isGranted = Permissions::request(subject(entity));
  } catch (const Error& error) {
    failure = error;
  }
  completion(isGranted, failure);
}

// ---- The store's records and ours.

std::vector<EKCalendar> named(const std::vector<CalendarStore::Collection>& collections) {
  std::vector<EKCalendar> calendars;
  for (const auto& collection : collections) calendars.push_back({collection.id, collection.title});
  return calendars;
}

EKCalendar calendarOf(const CalendarStore::Place& place, const std::vector<EKCalendar>& calendars) {
  const auto found = std::find_if(calendars.begin(), calendars.end(), [&](const auto& calendar) {
    return calendar.calendarIdentifier == place.collection;
  });
  return found == calendars.end() ? EKCalendar{place.collection, place.collection} : *found;
}

EKEvent record(CalendarStore::Event event, const std::vector<EKCalendar>& calendars) {
  EKEvent result{.title = std::exchange(event.title, {}),
                 .startDate = event.begins,
                 .isAllDay = event.isAllDay,
                 .location = std::exchange(event.location, {}),
                 .notes = std::exchange(event.notes, {}),
                 .url = std::exchange(event.url, {}),
                 .calendar = calendarOf(event.place, calendars)};
  result.stored = std::make_shared<EKStoredItem>(EKStoredItem{std::move(event)});
  return result;
}

EKDateComponents components(const CalendarStore::Due& due) {
  const auto midnight = std::chrono::floor<std::chrono::days>(due.at);
  const std::chrono::year_month_day date{midnight};
  const std::chrono::hh_mm_ss time{due.at - midnight};
  EKDateComponents result{.year = int(date.year()),
                          .month = static_cast<int>(unsigned(date.month())),
                          .day = static_cast<int>(unsigned(date.day())),
                          .hour = {},
                          .minute = {},
                          .second = {}};
  if (!due.hasTime) return result;
  result.hour = static_cast<int>(time.hours().count());
  result.minute = static_cast<int>(time.minutes().count());
  result.second = static_cast<int>(time.seconds().count());
  return result;
}

CalendarStore::Due due(const EKDateComponents& components) {
  const auto sound = Dates::local(components.date());  // a date that no calendar has becomes one
  const local_days day(std::chrono::year(sound.year) / sound.month / sound.day);
  const auto time =
      std::chrono::hours(sound.hour) + std::chrono::minutes(sound.minute) + std::chrono::seconds(sound.second);
  const bool hasTime = components.hour.has_value();
  return {.at = hasTime ? day + time : ICalendar::Wall(day), .hasTime = hasTime};
}

EKReminder record(CalendarStore::Reminder reminder, const std::vector<EKCalendar>& lists) {
  EKReminder result{.title = reminder.title,
                    .isCompleted = reminder.isCompleted,
                    .dueDateComponents = {},
                    .calendar = calendarOf(reminder.place, lists),
                    .alarms = {}};
  if (reminder.due) result.dueDateComponents = components(*reminder.due);
  for (const auto& alarm : reminder.alarms) result.alarms.push_back({alarm});
  result.stored = std::make_shared<EKStoredItem>(EKStoredItem{std::move(reminder)});
  return result;
}

}  // namespace

Dates::Instant EKDateComponents::date() const {
  return Dates::fromLocal({year, month, day, hour.value_or(0), minute.value_or(0), second.value_or(0)});
}

EKEventStore::EKEventStore() : desk_(std::make_unique<Desk>()) {}
EKEventStore::~EKEventStore() = default;

// ---- Access.

EKAuthorizationStatus EKEventStore::authorizationStatus(EKEntityType entity) {
  switch (Permissions::access(subject(entity))) {
    case Permissions::Access::notDetermined:
      return EKAuthorizationStatus::notDetermined;
    case Permissions::Access::restricted:
      return EKAuthorizationStatus::restricted;
    case Permissions::Access::full:
      return EKAuthorizationStatus::fullAccess;
    case Permissions::Access::writeOnly:
      return EKAuthorizationStatus::writeOnly;
    case Permissions::Access::denied:
      break;
  }
  return EKAuthorizationStatus::denied;
}

void EKEventStore::requestFullAccessToEvents(const RequestCompletion& completion) {
  request(EKEntityType::event, completion);
}

void EKEventStore::requestFullAccessToReminders(const RequestCompletion& completion) {
  request(EKEntityType::reminder, completion);
}

// ---- Events.

std::vector<EKCalendar> EKEventStore::calendars(EKEntityType entity) {
  if (!hasAccess(entity)) return {};
  return named(entity == EKEntityType::event ? desk_->store.calendars() : desk_->store.lists());
}

EKPredicate EKEventStore::predicateForEvents(Dates::Instant start, Dates::Instant end) const {
  return {.entity = EKEntityType::event, .start = start, .end = end};
}

std::vector<EKEvent> EKEventStore::events(const EKPredicate& matching) {
  std::vector<EKEvent> events;
  if (matching.entity != EKEntityType::event || !hasAccess(EKEntityType::event)) return events;
  const auto all = calendars(EKEntityType::event);
  for (auto& event : desk_->store.events(matching.start, matching.end)) events.push_back(record(std::move(event), all));
  return events;
}

void EKEventStore::save(const EKEvent& event, EKSpan) {
  requireAccess(EKEntityType::event);
  auto changed = storedIn<CalendarStore::Event>(event.stored);
  changed.title = event.title;
  changed.location = event.location;
  changed.notes = event.notes;
  changed.url = event.url;
  desk_->store.save(changed);
}

void EKEventStore::remove(const EKEvent& event, EKSpan) {
  requireAccess(EKEntityType::event);
  desk_->store.remove(storedIn<CalendarStore::Event>(event.stored));
}

// ---- Reminders.

EKPredicate EKEventStore::predicateForReminders() const { return {.entity = EKEntityType::reminder}; }

void EKEventStore::fetchReminders(const EKPredicate& matching, const RemindersCompletion& completion) {
  std::vector<EKReminder> reminders;
  if (matching.entity == EKEntityType::reminder && hasAccess(EKEntityType::reminder)) {
    const auto all = calendars(EKEntityType::reminder);
    for (auto& reminder : desk_->store.reminders()) reminders.push_back(record(std::move(reminder), all));
  }
  completion(std::move(reminders));
}

void EKEventStore::save(const EKReminder& reminder) {
  requireAccess(EKEntityType::reminder);
  auto changed = storedIn<CalendarStore::Reminder>(reminder.stored);
  changed.due.reset();
  if (reminder.dueDateComponents) changed.due = due(*reminder.dueDateComponents);
  for (std::size_t index = 0; index < std::min(changed.alarms.size(), reminder.alarms.size()); ++index)
    changed.alarms[index] = reminder.alarms[index].absoluteDate;
  desk_->store.save(changed);
}

void EKEventStore::remove(const EKReminder& reminder) {
  requireAccess(EKEntityType::reminder);
  const auto& stored = storedIn<CalendarStore::Reminder>(reminder.stored);
  desk_->store.check(stored);
  desk_->goingReminders.push_back(stored);
}

void EKEventStore::removeCalendar(const EKCalendar& calendar) {
  requireAccess(EKEntityType::reminder);
  const auto lists = desk_->store.lists();
  if (std::none_of(lists.begin(), lists.end(),
                   [&](const auto& list) { return list.id == calendar.calendarIdentifier; }))
    throw Error("the list \"" + calendar.title + "\" was removed by another program");
  desk_->goingLists.push_back(calendar.calendarIdentifier);
}

void EKEventStore::commit() {
  const auto reminders = std::exchange(desk_->goingReminders, {});
  const auto lists = std::exchange(desk_->goingLists, {});
  desk_->store.remove(reminders, lists);
}
