// The person's calendars and reminders. On macOS it is the system's own store; on Linux the calendar files of the
// desktop (docs/linux-desktop.md).
//
// Events and reminders are records: what a reader changes in one reaches the store by `save`. They remember what they
// were read from, so that one made by hand can't be saved. Nothing but `save`, `remove` and `commit` changes
// anything, and they throw Error with the store's own words: when access is missing, when the file can't be written,
// and when another program has changed the item since it was read.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Dates.h"
#include "Platform/Error.h"

enum class EKEntityType { event, reminder };

enum class EKAuthorizationStatus { notDetermined = 0, restricted = 1, denied = 2, fullAccess = 3, writeOnly = 4 };

/// How much of an event that repeats is meant.
enum class EKSpan { thisEvent };

/// A calendar of events, or a list of reminders.
struct EKCalendar {
  std::string calendarIdentifier;
  std::string title;  // several may share one
};

/// What the store knows of an item beyond its fields.
struct EKStoredItem;

/// One occurrence of an event.
struct EKEvent {
  std::optional<std::string> title;
  Dates::Instant startDate;
  bool isAllDay = false;
  std::optional<std::string> location, notes, url;
  EKCalendar calendar;
  std::shared_ptr<const EKStoredItem> stored = {};
};

struct EKAlarm {
  std::optional<Dates::Instant> absoluteDate;  // nothing for one that is relative to the due date
};

/// A day, or a time on it, on the local calendar.
struct EKDateComponents {
  int year = 1970, month = 1, day = 1;
  std::optional<int> hour, minute, second;

  Dates::Instant date() const;
};

struct EKReminder {
  std::optional<std::string> title;
  bool isCompleted = false;
  std::optional<EKDateComponents> dueDateComponents;
  EKCalendar calendar;
  std::vector<EKAlarm> alarms;
  std::shared_ptr<const EKStoredItem> stored = {};
};

/// Selects items of every calendar or list; made by the store.
struct EKPredicate {
  EKEntityType entity = EKEntityType::event;
  Dates::Instant start = {}, end = {};  // of events; both belong to the range
};

/// For one thread.
class EKEventStore {
 public:
  EKEventStore();
  ~EKEventStore();
  EKEventStore(const EKEventStore&) = delete;
  EKEventStore& operator=(const EKEventStore&) = delete;

  /// Asks nobody.
  static EKAuthorizationStatus authorizationStatus(EKEntityType entity);

  /// Was it granted? Else with the reason where the asking itself failed.
  using RequestCompletion = std::function<void(bool granted, const std::optional<Error>& failure)>;
  /// Ask for full access. The completion may run on another thread, also before this returns.
  void requestFullAccessToEvents(const RequestCompletion& completion);
  void requestFullAccessToReminders(const RequestCompletion& completion);

  // Without full access there are no calendars, events or reminders.

  std::vector<EKCalendar> calendars(EKEntityType entity);

  EKPredicate predicateForEvents(Dates::Instant start, Dates::Instant end) const;
  /// What overlaps the range, events that repeat once for each time, in the store's order. Throws Error when that
  /// is more than one answer can hold.
  std::vector<EKEvent> events(const EKPredicate& matching);
  /// Saves title, location, notes and URL of one occurrence, at once.
  void save(const EKEvent& event, EKSpan span);
  void remove(const EKEvent& event, EKSpan span);

  EKPredicate predicateForReminders() const;
  using RemindersCompletion = std::function<void(std::vector<EKReminder> reminders)>;
  /// The completion may run on another thread, also before this returns.
  void fetchReminders(const EKPredicate& matching, const RemindersCompletion& completion);
  /// Saves the due date and the alarms' dates, at once. No alarm is added or removed.
  void save(const EKReminder& reminder);

  // Removed by `commit`; one that can't be is refused here.

  void remove(const EKReminder& reminder);
  /// A list with everything in it.
  void removeCalendar(const EKCalendar& calendar);
  /// Removes all or, as far as that can be known beforehand, none.
  void commit();

 private:
  struct Desk;
  std::unique_ptr<Desk> desk_;
};
