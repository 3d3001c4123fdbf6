// The bash script that a session runs: it starts the agent's client with its prompt, and tells the supervisor through
// the done marker how it ended, unless the agent has done so itself.
#pragma once

#include <string>

#include "TavroCore/automations/LoopRun.h"

namespace InnerScript {

/// Nothing in it but its own lines is shell text, whatever the loop's record and the paths hold.
std::string text(const LoopRun& run);
/// Writes it to the run's files, to be run by "exec bash". Throws FileFailure.
void write(const LoopRun& run);

}  // namespace InnerScript
