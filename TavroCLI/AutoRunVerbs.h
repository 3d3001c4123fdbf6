// The two verbs that programs use: timers start a run with `auto-run`, and the agent in a run tells with `auto-done`
// that its task is finished.
#pragma once

#include "TavroCLI/Verb.h"

namespace AutoRunVerbs {

Work run(CLI::App& command);
Work done(CLI::App& command);

}  // namespace AutoRunVerbs
