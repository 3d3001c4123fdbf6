// An event of a calendar file with all that belongs to it under one UID: the component that repeats, and those that
// replace single occurrences of it (RECURRENCE-ID) or one and all behind it (RANGE=THISANDFUTURE).
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "Platform/linux/stores/ICalendarRecurrence.h"
#include "Platform/linux/stores/ICalendarZones.h"

namespace ICalendar {

/// An event as it happens once.
struct Occurrence {
  Component::Pointer component;  // what tells of it; others may be told of by the same
  Stamp start;
  Dates::Instant begins, ends;  // the end is the first moment that doesn't belong to it
  std::optional<Stamp> id;      // RECURRENCE-ID; nothing when the event doesn't repeat
};

/// Brings the marks of a change up to date: DTSTAMP, LAST-MODIFIED, SEQUENCE.
void touch(Component& component);

class Series {
 public:
  /// The events of a VCALENDAR, by their first component. Those that aren't valid are left out, the rules of
  /// their repetition included. `zones` must outlive them.
  static std::vector<Series> all(const Component::Pointer& calendar, Zones& zones);

  /// The UID; may be empty.
  const std::string& uid() const { return uid_; }
  bool repeats() const { return repeats_; }
  /// Are single occurrences told of by components of their own?
  bool hasReplacements() const { return !replacements_.empty() || !turns_.empty(); }

  /// What begins no later than `to` and hasn't ended at `from`, or begins right then. Not in order. Cancelled
  /// ones are left out. Takes off `steps` what it cost; when fewer than none are left it has stopped half-way.
  std::vector<Occurrence> overlapping(Dates::Instant from, Dates::Instant to, long long& steps) const;
  /// With steps for some 60,000 of them.
  std::vector<Occurrence> overlapping(Dates::Instant from, Dates::Instant to) const;

  /// The event as its file tells it first, cancelled or not. It has no id: to edit or to remove it means all of it.
  Occurrence filed() const;

  /// The component that tells of this occurrence alone; where there is none, it is made and put into the
  /// calendar. Its marks of change are up to date.
  Component& edit(const Occurrence& occurrence);
  /// Takes one occurrence out of the calendar; the whole event if it doesn't repeat.
  void remove(const Occurrence& occurrence);

 private:
  struct Entry {
    Component::Pointer component;
    Stamp start;
    Duration length;
    std::optional<Stamp> id;
    Dates::Instant idInstant = {};
  };
  struct Candidate {
    Stamp start;
    std::optional<Duration> length;  // a period's own
  };

  Series(Component::Pointer calendar, Zones& zones) : calendar_(std::move(calendar)), zones_(&zones) {}
  bool add(const Component::Pointer& component);
  bool readRepetition(const Component& master);

  Dates::Instant instant(const Stamp& stamp) const { return zones_->instant(stamp, *calendar_); }
  Dates::Instant idInstant(const Stamp& id) const;
  Dates::Instant end(const Stamp& start, const Duration& length) const;
  std::optional<Duration> length(const Component& component, const Stamp& start) const;
  std::optional<Duration> length(const ListedStamp& listed) const;
  Wall masterWall(Dates::Instant instant) const { return zones_->wall(instant, master_->start, *calendar_); }
  std::chrono::seconds shift(const Entry& turn) const;
  std::chrono::seconds reach() const;
  std::vector<Candidate> candidates(Span span, long long& steps) const;
  bool isExcluded(const Stamp& start, Dates::Instant begins) const;
  std::optional<Occurrence> occurrence(const Entry& entry, const Stamp& start, const Duration& length) const;
  const Entry* turn(Dates::Instant id) const;
  void setStart(Component& component, const Occurrence& occurrence) const;

  Component::Pointer calendar_;
  Zones* zones_;
  std::string uid_;
  std::set<const Component*> components_;  // all of the UID, also those that a newer one stands for
  std::optional<Entry> master_;
  bool repeats_ = false;
  std::vector<std::pair<Rule, std::optional<Wall>>> rules_, exceptRules_;  // with the end on the master's wall
  std::vector<ListedStamp> dates_;
  std::map<Dates::Instant, bool> exceptDates_;    // true for a whole local day
  std::map<Dates::Instant, Entry> replacements_;  // by what the occurrence's beginning would be
  std::map<Dates::Instant, Entry> turns_;         // for one occurrence and all behind it, likewise
};

}  // namespace ICalendar
