// The applications of the desktop, by the names and the bundle ids that they have on a Mac: the one list that scripts,
// permissions and `open` go by.
#pragma once

#include <array>
#include <string_view>

namespace InstalledApplications {

struct Application {
  std::string_view name;  // what scripts, running.json and permissions.json call it
  std::string_view bundleIdentifier;
  bool isBackground = false;  // a helper of the system: it always runs, nobody quits it, and no list shows it
};

inline constexpr std::array<Application, 10> all = {{
    {"Mail", "com.apple.mail"},
    {"Calendar", "com.apple.iCal"},
    {"Reminders", "com.apple.reminders"},
    {"Contacts", "com.apple.AddressBook"},
    {"Notes", "com.apple.Notes"},
    {"Messages", "com.apple.MobileSMS"},
    {"Finder", "com.apple.finder"},
    {"Terminal", "com.apple.Terminal"},
    {"iTerm2", "com.googlecode.iterm2"},
    {"System Events", "com.apple.systemevents", true},
}};

// Without regard to case, as on a Mac. Null where there is none.
const Application* named(std::string_view name);
const Application* withBundleIdentifier(std::string_view identifier);

/// Does it run now?
bool isRunning(const Application& application);

}  // namespace InstalledApplications
