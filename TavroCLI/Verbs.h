// Every verb of the command, one row each. Dispatch, usage, help, hints for mistyped verbs and completion walk these
// rows; a new verb is a row here and a function that declares it.
#pragma once

#include <string>
#include <vector>

#include "TavroCLI/Verb.h"

namespace Verbs {

const std::vector<Verb>& all();

/// The overview that `tavro` alone shows.
std::string usage();

/// Reads the command line (without the program's name) and does what it says. Throws Error.
ExitStatus perform(std::vector<std::string> arguments);

}  // namespace Verbs
