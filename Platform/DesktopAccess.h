// The owner's settings of what programs may use: what stands in the system's own settings on a Mac, where nothing but
// they can change it. On Linux it is the desktop's permissions.json, and `set` the way to change it.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace DesktopAccess {

/// What can be set: "calendar", "reminders", then the names of the applications that scripts can control. Empty on a
/// system whose settings are its own.
std::vector<std::string> subjects();

// Below, `subject` is one of these and `state` one of its states.

/// "full-access" and so on; calendars alone can be write-only, and no application is restricted.
std::vector<std::string> states(std::string_view subject);
std::string state(std::string_view subject);

/// Would programs come by more than they do now? `consent` is what the owner answers when a program asks: given,
/// refused, or as recorded earlier.
bool widens(std::string_view subject, std::string_view state, std::optional<bool> consent);

/// Throws Error when it can't be kept.
void set(std::string_view subject, std::string_view state, std::optional<bool> consent);

}  // namespace DesktopAccess
