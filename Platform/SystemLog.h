// The computer's own log, for the few failures that have no other reader.
#pragma once

#include <string_view>

namespace SystemLog {

/// Logs one line at the level "error". `secret` goes into the line only on systems whose log keeps
/// private parts from other readers; elsewhere "<private>" stands in its place.
void error(std::string_view subsystem, std::string_view category, std::string_view message,
           std::string_view secret) noexcept;

}  // namespace SystemLog
