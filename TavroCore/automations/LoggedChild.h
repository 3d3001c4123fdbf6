// A child process of a run, whose output goes into the run's log.
#pragma once

#include <string_view>

#include "Platform/Process.h"
#include "TavroCore/automations/LoopRun.h"

namespace LoggedChild {

/// Runs the command to its end, in the loop's directory and with the run's variables beside its own, between a line of
/// the log that says `what` runs and one that says how it ended. Gives the exit code: 128 plus the signal's number for
/// one that was killed, -1 for one that couldn't be started, and why stands in the log.
int run(const LoopRun& run, std::string_view what, Process::Command command);

}  // namespace LoggedChild
