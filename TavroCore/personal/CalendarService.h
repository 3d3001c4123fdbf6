// The owner's events, in the store that all their calendars are in. A change is to exactly one event or to none: a
// filter that fits two is refused.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Platform/Error.h"

namespace CalendarService {

/// Which event, and why not.
class UpdateError : public Error {
 public:
  static UpdateError noMatch(const std::string& filter);
  static UpdateError ambiguous(const std::vector<std::string>& labels);
  static UpdateError nothingToChange();

 private:
  using Error::Error;
};

/// The events of all calendars from now to `days` days from now, or from then to now when `days` is negative, whose
/// title contains `contains`, in the order of their starts. A line each:
///   2026-03-14 09:30 || Work || Standup @ Room 2 🔗 https://...
///   2026-03-14 (all-day) || Home || Birthday
/// Throws EventKitAccess::AccessError.
std::string find(long long days, const std::optional<std::string>& contains);

/// What becomes of an event; what is absent stays as it is.
struct Change {
  std::optional<std::string> title, location, notes;
  std::optional<std::string> url;  // a text that is no URL (RFC 3986) clears it
};

// Both act on the one event between now and `days` days from now (one at least) whose title contains `contains`, and
// say what they did. They throw UpdateError, EventKitAccess::AccessError or the store's own Error, and then nothing
// was changed.

std::string update(const std::string& contains, long long days, const Change& change);
/// `delete` in the catalogue: of an event that repeats, this occurrence alone.
std::string remove(const std::string& contains, long long days);

}  // namespace CalendarService
