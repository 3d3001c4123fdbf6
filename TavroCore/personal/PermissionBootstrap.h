// Which applications and stores of the owner we may use, and one step of setup that asks for all of it at once. The
// system asks the owner only when a first command goes to an application that runs, so the answers are kept
// (autonomy-grants.json in the home, an object from a scope's id to true or false) for when it is closed later.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace PermissionBootstrap {

/// One permission, and what is known of it.
struct ScopeResult {
  std::string id;               // "automation:<bundle id>", "calendar" or "reminders"
  std::string label;            // for the owner
  std::optional<bool> granted;  // nothing when it isn't known
  std::string detail;           // the state in a phrase
};

// Neither `status` nor `probe` fails: what can't be found out is a scope whose detail says what to do.

/// The eight applications, then the calendar and the reminders. Opens no dialog and starts no application. Of an
/// application that is closed, the kept answer is told.
std::vector<ScopeResult> status();

/// The same list, after asking for everything that can still be asked; blocks for as long as the owner takes. Starts
/// the applications that don't run, waits up to 6 seconds for each, and quits them afterwards. Keeps the answers; one
/// that isn't known leaves the one that was kept before.
std::vector<ScopeResult> probe();

/// What is known of an application while it is closed, where the owner's settings have changed it; nothing forgets it.
/// A home that can't be written costs that alone.
void remember(std::string_view application, std::optional<bool> granted);

/// A line each: a mark, the label in 22 characters, the detail.
std::string renderText(const std::vector<ScopeResult>& results);
/// A compact array of objects with the fields in their order; `granted` is left out when it isn't known.
std::string renderJSON(const std::vector<ScopeResult>& results);

}  // namespace PermissionBootstrap
