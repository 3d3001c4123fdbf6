// Which instant a clock's time is: by the time zones of the system, by those that a file defines (VTIMEZONE), and by
// the local one for times that name none.
//
// A TZID that is, or ends in, a name of the system's zones means that zone, whatever the file says of it: the files
// of many programs hold a few years' worth of rules, or those of an old law.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Dates.h"
#include "Platform/linux/stores/ICalendar.h"
#include "Platform/linux/stores/ICalendarTime.h"

namespace ICalendar {

/// What a place's clocks are ahead of UTC, through the years.
class Zone {
 public:
  /// Of a VTIMEZONE; nothing when it says nothing of its offsets, or when the steps don't suffice (see `expand`).
  static std::optional<Zone> of(const Component& definition, long long& steps);

  /// A time that a clock change skips moves forward by what was skipped; of one that exists twice the
  /// first is meant.
  Dates::Instant instant(Wall wall) const;
  Wall wall(Dates::Instant instant) const;

 private:
  struct Change {
    std::chrono::sys_seconds at;
    std::chrono::seconds ahead;  // from then on
  };
  std::chrono::seconds aheadAt(std::chrono::sys_seconds time) const;

  std::chrono::seconds first_{0};
  std::vector<Change> changes_;  // ascending
};

/// The zones that files name; each is read once. Not for several threads.
class Zones {
 public:
  /// `calendar` is the VCALENDAR that the stamp stands in. A zone that nobody knows counts as the local one.
  Dates::Instant instant(const Stamp& stamp, const Component& calendar);
  /// The same moment on a clock of `like`'s zone; of a date, the local day.
  Wall wall(Dates::Instant instant, const Stamp& like, const Component& calendar);
  /// The same moment in `like`'s form; of a date, the local day. In UTC where that form can't tell it to every
  /// reader: on a clock that shows the time for the second time, and in a zone that nobody knows.
  Stamp stamp(Dates::Instant instant, const Stamp& like, const Component& calendar);

  /// Adds a VTIMEZONE for each zone that `calendar` names and doesn't define, as far as the system knows
  /// them, so that it stands alone wherever it is sent.
  void define(Component& calendar);

 private:
  struct Definition {
    Component::Pointer component;
    std::optional<const Zone*> zone = {};  // once it was asked for
  };
  const Zone* find(const std::string& id, const Component& calendar);
  const Zone* zoneOf(Definition& definition);
  const Zone* system(const std::string& id);

  std::map<std::string, std::optional<Zone>> bySystem_;      // by TZID
  std::map<std::string, std::optional<Zone>> byDefinition_;  // by the VTIMEZONE's bytes
  std::weak_ptr<const Component> definedIn_;                 // the calendar of these, for one is asked about many times
  std::map<std::string, Definition> defined_;
  long long definitionSteps_ = 20'000'000;  // for some hundred zones
};

}  // namespace ICalendar
