// Points of time as people say them: "2 h ago", "in 3 days".
#pragma once

#include <string>

namespace Ages {

/// Seen from now. A text that is no timestamp of the stores comes back as it is.
std::string told(const std::string& timestamp);
/// For a listing on standard output: the age on a terminal. It changes by the minute, so elsewhere the timestamp.
std::string listed(const std::string& timestamp);

}  // namespace Ages
