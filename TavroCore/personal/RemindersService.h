// The owner's reminders, in the store that has all their lists, grouped ones too.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "Platform/Error.h"

namespace RemindersService {

class RemError : public Error {
 public:
  static RemError noList(const std::string& name);
  static RemError noMatch(const std::string& name);
  static RemError ambiguous(const std::string& name, std::size_t count);
  static RemError badDate(const std::string& text);

 private:
  using Error::Error;
};

// A list is named by its exact title, which several may share; an absent or empty name means all lists. Everything
// but the two counts throws EventKitAccess::AccessError, RemError or the store's own Error.

/// The lists by title, a line each: Errands || active=3 || done=12
std::string listAll();

/// By due date, those without one last; `limit` of 0 or less means no limit. Whatever a title holds, a reminder is one
/// line:
///   Errands || todo || 2026-03-14 09:30 || Buy stamps
std::string find(const std::optional<std::string>& list, bool includeCompleted, long long limit);

/// A new due date for the one open reminder whose title contains `name`; `due` is YYYY-MM-DD or YYYY-MM-DD HH:MM as a
/// whole, local; a time that a clock change skips becomes the one that takes its place. Alarms at fixed times move
/// along.
std::string update(const std::string& name, const std::optional<std::string>& list, const std::string& due);

/// Can the script that makes a reminder read the day that `due` begins with, YYYY-MM-DD? Throws RemError::badDate when
/// it can't.
void checkDay(const std::string& due);

/// Every list of this title, with what is in it; all of them or none.
std::string deleteList(const std::string& name);
/// The completed reminders; all of them or none.
std::string clearCompleted(const std::optional<std::string>& list);

/// `list "Errands"`, or "all lists".
std::string placeName(const std::optional<std::string>& list);

// For previews. They never throw: without access, or without such a list, 0.

/// The reminders of a list, completed or not.
std::size_t listCount(const std::string& name);
std::size_t completedCount(const std::optional<std::string>& list);

}  // namespace RemindersService
