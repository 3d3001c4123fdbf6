// Where the outside programs are that the core runs: "osascript", "launchctl", "open", "pkill".
#pragma once

#include <filesystem>
#include <string_view>

namespace Platform {

/// The first of these that is an executable file:
///   1. $TAVRO_PLATFORM_BIN/<name>, when that variable is set;
///   2. on Linux <bundle>/Contents/Desktop/<name>, our own program;
///   3. the path on macOS (/usr/bin/<name>, /bin/launchctl).
/// When none is, the macOS path, so that the launch fails with a message that names it.
std::filesystem::path program(std::string_view name);

}  // namespace Platform
