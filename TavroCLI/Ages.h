// Points of time as people say them: "2 h ago", "in 3 days".
#pragma once

#include <string>

namespace Ages {

/// Seen from now. A text that is no timestamp of the stores comes back as it is.
std::string told(const std::string& timestamp);

}  // namespace Ages
