#include "Platform/linux/desktop/SampleCalendar.h"

#include <fmt/chrono.h>

#include <array>
#include <map>

#include "Platform/Dates.h"
#include "Platform/Files.h"
#include "Platform/linux/stores/CalendarStore.h"

namespace {

struct Event {
  const char* calendar;
  const char* title;
  int days, hour, minutes;  // from today; how long
  bool isAllDay;
  const char* location;
  const char* notes;
};

// "import" is in two titles: what a tool for a single event refuses.
constexpr std::array<Event, 7> events = {{
    {"Work", "Review of the import", 1, 14, 60, false, "Room 2", "With Jonas: the index, and what is left"},
    {"Work", "Slow import: decide", 3, 10, 30, false, "", ""},
    {"Work", "Release", 9, 0, 0, true, "", "Notes are with Mira"},
    {"Home", "Dinner with Ana and Daniel", 2, 20, 120, false, "The usual place", ""},
    {"Home", "Dentist", 5, 8, 45, false, "Bergmannstraße 3", ""},
    {"Home", "Long weekend", 12, 0, 0, true, "", ""},
    {"Home", "Concert", -3, 19, 150, false, "Town hall", ""},
}};

struct Reminder {
  const char* list;
  const char* title;
  int days, hour;  // from today; none, or no time, when below zero
  bool isCompleted;
};

constexpr int never = -1000;
constexpr std::array<Reminder, 8> reminders = {{
    {"Reminders", "Receipts for the accountant", 4, -1, false},
    {"Reminders", "Call Yuki about the order", 1, 11, false},
    {"Reminders", "Renew the passport", never, -1, false},
    {"Reminders", "Water the beans", -1, -1, true},
    {"Errands", "Olive oil", never, -1, false},
    {"Errands", "Stamps", never, -1, true},
    {"Errands", "Collect the spade", 2, 17, false},
    {"Errands", "Library books", 6, -1, false},
}};

/// It repeats, which scripts can't ask of the store, on the clock of wherever the owner is.
constexpr std::string_view standup =
    "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Tavro//Sample//EN\r\nBEGIN:VEVENT\r\nUID:standup@tavro.example\r\n"
    "DTSTAMP:{0:%Y%m%d}T000000Z\r\nDTSTART:{0:%Y%m%d}T090000\r\nDURATION:PT15M\r\n"
    "RRULE:FREQ=WEEKLY;BYDAY=MO,TU,WE,TH,FR\r\nSUMMARY:Standup\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n";

std::chrono::sys_days lastMonday() {
  const auto today = std::chrono::floor<std::chrono::days>(Dates::now());
  return today - (std::chrono::weekday(today) - std::chrono::Monday) - std::chrono::weeks(1);
}

Dates::Instant at(int days, int hour) {
  auto day = Dates::local(Dates::now());
  return Dates::fromLocal({day.year, day.month, day.day + days, hour});
}

ICalendar::Wall wall(Dates::Instant instant) {
  using namespace std::chrono;
  const auto local = Dates::local(instant);
  return local_days(year(local.year) / local.month / local.day) + hours(local.hour);
}

/// The directories of the collections that the samples name, by their titles.
template <typename Samples, typename Title>
std::map<std::string, std::string> make(const CalendarCollections& folders, const Samples& samples, Title title,
                                        const char* kind, std::vector<std::string>& made) {
  std::map<std::string, std::string> ids;
  for (const auto& sample : samples) {
    auto& id = ids[title(sample)];
    if (!id.empty()) continue;
    id = folders.add(title(sample)).id;
    made.push_back(std::string("Added the ") + kind + " " + title(sample));
  }
  return ids;
}

}  // namespace

std::vector<std::string> SampleCalendar::addEvents(const std::filesystem::path& root) {
  std::vector<std::string> made;
  CalendarStore store(root);
  const auto calendars = make(
      store.calendarFolders(), events, [](const Event& sample) { return sample.calendar; }, "calendar", made);
  for (const auto& sample : events) {
    CalendarStore::FiledEvent event;
    event.place.collection = calendars.at(sample.calendar);
    event.begins = at(sample.days, sample.hour);
    event.ends = sample.isAllDay ? at(sample.days + 1, 0) : event.begins + std::chrono::minutes(sample.minutes);
    event.isAllDay = sample.isAllDay;
    event.title = sample.title;
    if (*sample.location) event.location = sample.location;
    if (*sample.notes) event.notes = sample.notes;
    store.add(event);
  }
  Files::replace(store.calendarFolders().root() / calendars.at("Work") / "standup.ics",
                 fmt::format(standup, lastMonday()));
  return made;
}

std::vector<std::string> SampleCalendar::addReminders(const std::filesystem::path& root) {
  std::vector<std::string> made;
  CalendarStore store(root);
  const auto lists = make(
      store.listFolders(), reminders, [](const Reminder& sample) { return sample.list; }, "list of reminders", made);
  for (const auto& sample : reminders) {
    CalendarStore::Reminder reminder;
    reminder.place.collection = lists.at(sample.list);
    reminder.title = sample.title;
    reminder.isCompleted = sample.isCompleted;
    if (sample.days != never)
      reminder.due =
          CalendarStore::Due{.at = wall(at(sample.days, std::max(sample.hour, 0))), .hasTime = sample.hour >= 0};
    store.add(reminder);
  }
  return made;
}
