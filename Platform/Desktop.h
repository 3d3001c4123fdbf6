// The desktop that the scriptable applications live on. On macOS it is the system's own and there is
// nothing to set up; on Linux it is a tree of open formats under one root (docs/linux-desktop.md).
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace Desktop {

/// TAVRO_DESKTOP, else tavro-desktop in the user's data directory.
std::filesystem::path root();

/// Makes the tree where it is missing; with `sample`, also a little mail, and a small set of calendars, reminders,
/// notes and contacts, in stores that are still empty. What is there is left alone. Returns a line for each thing made.
/// Throws FileFailure.
std::vector<std::string> initialize(bool sample);

}  // namespace Desktop
