// The variables that a job runs with. A client that speaks to an agent has secrets in its environment, and a run has
// its own name there; so nothing passes but what is listed here and what the job's own list sets.
#pragma once

#include <map>
#include <string>

namespace JobEnvironment {

using Variables = std::map<std::string, std::string>;

/// What says where things are, as our own environment has it: the home, the desktop, the programs, the certificates.
/// Recorded when a job is loaded, so that each run finds the same. Throws Error for one that isn't UTF-8.
Variables places();
/// How the user works: PATH, language, zone, ... Recorded too, for a timer that isn't the session's own.
Variables habits();
/// Where the session's display and bus are; the next login has others.
Variables session();

}  // namespace JobEnvironment
