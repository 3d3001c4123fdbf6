// `tavro auto`: the owner's automations, also called loops. Looking at them is anybody's; changing them is the owner's
// alone and passes no gate, so that a loop can be paused in any mode, but each change leaves an audit line.
#pragma once

#include "TavroCLI/Verb.h"

namespace AutoVerbs {

Work list(CLI::App& command);
Work log(CLI::App& command);
Work add(CLI::App& command);
Work edit(CLI::App& command);
Work enable(CLI::App& command);
Work disable(CLI::App& command);
Work run(CLI::App& command);
Work remove(CLI::App& command);
Work stop(CLI::App& command);
Work attach(CLI::App& command);
Work sync(CLI::App& command);

}  // namespace AutoVerbs
