// Which applications count as running. They are no processes here: one runs from the first script that
// talks to it, or activates it, until it is told to quit or the computer restarts. running.json keeps the
// name and the time of each, so that every script and every program sees the same.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace RunningApplications {

/// By name. A file that is missing or can't be read is empty, and an entry from before the last restart
/// of the computer doesn't count.
std::vector<std::string> names();
bool contains(std::string_view name);

/// Leaves an entry that is there as it is. Throws FileFailure.
void add(const std::string& name);
/// False when it wasn't running. Throws FileFailure.
bool remove(const std::string& name);

}  // namespace RunningApplications
