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
#include <string>
#include <vector>

#include "Platform/Dates.h"
#include "Platform/linux/stores/ICalendarSeries.h"

class CalendarStore {
 public:
  /// A directory of items.
  struct Collection {
    std::string id;     // the directory's name
    std::string title;  // of the file `displayname`, else the directory's name
  };
  /// Where something stands.
  struct Place {
    std::string collection;
    std::string file;
    std::string uid;
    std::size_t index = 0;  // among the file's
  };
  /// One occurrence of an event.
  struct Event {
    Place place;
    std::optional<ICalendar::Stamp> id;  // which one, where the event repeats
    Dates::Instant begins, ends;         // the end is the first moment that doesn't belong to it
    bool isAllDay = false;
    std::optional<std::string> title, location, notes, url;
  };
  struct Due {
    ICalendar::Wall at;  // on the local clock; midnight of a day
    bool hasTime = false;

    bool operator==(const Due&) const = default;
  };
  struct Reminder {
    Place place;
    std::optional<std::string> title;
    bool isCompleted = false;
    std::optional<Due> due;
    std::vector<std::optional<Dates::Instant>> alarms;  // nothing for one that is relative
  };

  /// `root` is the desktop's.
  explicit CalendarStore(const std::filesystem::path& root);

  // Readers count what they can't read as absent. All lists are sorted by their ids.

  std::vector<Collection> calendars() const { return collections(calendars_); }
  std::vector<Collection> lists() const { return collections(lists_); }

  /// The occurrences of all calendars that begin no later than `to` and haven't ended at `from` (or begin right
  /// then), in the order of their files.
  std::vector<Event> events(Dates::Instant from, Dates::Instant to);
  std::vector<Reminder> reminders();

  // Writers throw FileFailure, and Error when the file isn't as it was read.

  /// Writes the four texts of this occurrence alone where they differ from what the file says.
  void save(const Event& event);
  /// Removes this occurrence; with the last of it, the file.
  void remove(const Event& event);

  /// Writes the due date and the alarms that differ.
  void save(const Reminder& reminder);
  /// Would it be removed if it were now? Throws if not.
  void check(const Reminder& reminder);
  /// All of them or, as far as that can be known beforehand, none; a list with everything in it. Of a list
  /// that is a symbolic link only the link goes.
  void remove(const std::vector<Reminder>& reminders, const std::vector<std::string>& lists);

 private:
  using Change = std::function<void(ICalendar::Document&)>;

  static std::vector<Collection> collections(const std::filesystem::path& root);
  void eachFile(const std::filesystem::path& root, const std::function<bool(std::string_view)>& isWanted,
                const std::function<void(const Place&, const ICalendar::Document&)>& take);
  std::string unchanged(const std::filesystem::path& path) const;
  std::string changed(const std::filesystem::path& path, const Change& change) const;
  void write(const std::filesystem::path& path, const Change& change);
  void write(const std::filesystem::path& path, const std::string& bytes);
  void removeLists(const std::vector<std::string>& lists) const;
  void setDue(ICalendar::Component& todo, const ICalendar::Component& calendar, const std::optional<Due>& due);

  std::filesystem::path calendars_, lists_;
  ICalendar::Zones zones_;
  std::map<std::filesystem::path, std::size_t> seen_;  // a hash of each file as last read or written
};
