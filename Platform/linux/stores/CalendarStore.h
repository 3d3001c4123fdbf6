// Calendars and reminders on disk, as vdirsyncer, khal and todoman keep them: calendars/<name>/*.ics and
// reminders/<list>/*.ics, an item a file or several, beside them the files `displayname` and `color`.
//
// Every call looks at the disk. A change is written over what was read and nothing else: when another program has
// changed the file since, it fails, and the file stays as that program left it. What isn't valid is passed over and
// never written to. An object of this class is for one thread.
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Platform/Dates.h"
#include "Platform/linux/stores/CalendarCollections.h"
#include "Platform/linux/stores/ICalendarSeries.h"

class CalendarStore {
 public:
  using Collection = CalendarCollections::Collection;
  /// Where something stands.
  struct Place {
    std::string collection;
    std::string file;
    std::string uid;
    std::size_t index = 0;  // among the file's reminders or events
  };
  /// One occurrence of an event.
  struct Event {
    Place place;
    std::optional<ICalendar::Stamp> id;  // which one, where the event repeats
    Dates::Instant begins, ends;         // the end is the first moment that doesn't belong to it
    bool isAllDay = false;
    std::optional<std::string> title, location, notes, url;
  };
  /// An event as its file tells it, once however often it repeats; its times are the first ones.
  struct FiledEvent : Event {
    std::optional<std::string> recurrence, status;  // RRULE, which has to be a valid one, and STATUS
    std::int64_t sequence = 0;
    std::optional<Dates::Instant> stamped;
  };
  struct Due {
    ICalendar::Wall at;  // on the local clock; midnight of a day
    bool hasTime = false;

    bool operator==(const Due&) const = default;
  };
  struct Reminder {
    Place place;
    std::optional<std::string> title, notes;
    bool isCompleted = false;
    std::optional<Dates::Instant> completedAt;
    std::optional<Due> due;
    int priority = 0;  // 1 the highest to 9 the lowest; 0 for none
    bool isFlagged = false;
    std::optional<Dates::Instant> remindsAt;            // of the first alarm that isn't relative
    std::vector<std::optional<Dates::Instant>> alarms;  // nothing for one that is relative
    std::optional<Dates::Instant> created, modified;
  };

  /// `root` is the desktop's.
  explicit CalendarStore(const std::filesystem::path& root);

  /// The directories, which are made, renamed and looked at there.
  const CalendarCollections& calendarFolders() const { return calendars_; }
  const CalendarCollections& listFolders() const { return lists_; }

  /// What the item lies in.
  std::filesystem::path file(const Event& event) const;
  std::filesystem::path file(const Reminder& reminder) const;

  // Readers count what they can't read as absent. All lists are sorted by their ids.

  std::vector<Collection> calendars() const { return calendars_.all(); }
  std::vector<Collection> lists() const { return lists_.all(); }

  /// The occurrences of all calendars that begin no later than `to` and haven't ended at `from` (or begin right
  /// then), in the order of their files. An event that repeats more often than any is meant to, some hundred times a
  /// day, is passed over. Throws Error when there are too many for one answer.
  std::vector<Event> events(Dates::Instant from, Dates::Instant to);
  /// Of one calendar, cancelled ones too.
  std::vector<FiledEvent> filedEvents(const std::string& calendar);
  /// A reminder that repeats counts once.
  std::vector<Reminder> reminders();
  std::vector<Reminder> reminders(const std::string& list);

  // Writers throw FileFailure, and Error when the file isn't as it was read. A removal moves those behind it in the
  // same file: their numbers become smaller by one.

  /// Writes the four texts of this occurrence alone where they differ from what the file says.
  void save(const Event& event);
  /// Removes this occurrence; with the last of it, the file.
  void remove(const Event& event);

  /// A new file in the calendar that `event.place` names; the event as it is there. Its end may not be before its
  /// beginning.
  FiledEvent add(const FiledEvent& event);
  /// Writes the texts, times, rule and status that differ, for all its occurrences. The start of an event that repeats
  /// stays, for its rule and its exceptions hang on it, and so does the rule when single occurrences were changed.
  /// Throws Error when that is asked for.
  FiledEvent save(const FiledEvent& event);
  /// With all its occurrences.
  void remove(const FiledEvent& event);
  /// A calendar with everything in it.
  void removeCalendar(const std::string& calendar);

  /// A new file in the list that `reminder.place` names.
  Reminder add(const Reminder& reminder);
  /// Writes what differs, and gives what stands there then. One that repeats and becomes completed moves on to its
  /// next date and stays open; the completed one is kept beside it, in a file of its own.
  Reminder save(const Reminder& reminder);
  /// Would it be removed if it were now? Throws if not. To ask this of all that a file holds reads it once.
  void check(const Reminder& reminder);
  /// All of them or, as far as that can be known beforehand, none; a list with everything in it. Of a list
  /// that is a symbolic link only the link goes.
  void remove(const std::vector<Reminder>& reminders, const std::vector<std::string>& lists);

 private:
  using Change = std::function<void(ICalendar::Document&)>;
  using Component = ICalendar::Component;
  struct CheckedFile {
    std::filesystem::path path;
    std::filesystem::file_time_type written;
    std::set<std::string> uids;  // of its to-dos
  };

  void eachFile(const CalendarCollections& folders, const std::string& collection,
                const std::function<bool(std::string_view)>& isWanted,
                const std::function<void(const Place&, const ICalendar::Document&)>& take);
  std::string unchanged(const std::filesystem::path& path) const;
  static void requireWritable(const std::filesystem::path& path);
  std::string changed(const std::filesystem::path& path, const Change& change) const;
  void write(const std::filesystem::path& path, const Change& change);
  void write(const std::filesystem::path& path, const std::string& bytes);
  Place create(const CalendarCollections& folders, const std::string& collection, const Component::Pointer& item,
               const ICalendar::Document& document);

  FiledEvent filedEvent(Place place, const ICalendar::Series& series);
  void setTimes(Component& component, const Component& calendar, const FiledEvent& old, const FiledEvent& event);
  void setEnd(Component& component, const Component& calendar, const ICalendar::Stamp& form, const FiledEvent& event);

  Reminder reminder(Place place, const Component& todo, const Component& calendar);
  void change(Component& todo, const Component& calendar, const Reminder& old, const Reminder& reminder);
  void setDue(Component& todo, const Component& calendar, const std::optional<Due>& due);
  std::optional<Dates::Instant> nextDate(const Component& todo, const Component& calendar,
                                         const ICalendar::Stamp& anchor);
  bool moveOn(Component& todo, const Component& calendar);
  std::optional<std::filesystem::path> completeOnce(Component& todo, const Component& calendar, const Reminder& old,
                                                    const Reminder& reminder);
  ICalendar::Document completedCopy(const Component& todo, const Component& calendar, const Reminder& reminder);

  CalendarCollections calendars_, lists_;
  ICalendar::Zones zones_;
  std::optional<CheckedFile> checked_;
  std::map<std::filesystem::path, std::size_t> seen_;  // a hash of each file as last read or written
};
