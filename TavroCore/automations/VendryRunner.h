// One run of one automation, from its lock to its state: a script in a shell, an agent's client in a tmux session, in a
// window or as a child. `tavro auto-run` is this and nothing else.
//
// What a run can't write (a full disk) doesn't stop it, with one exception: an agent without its prompt isn't started.
#pragma once

#include <string>

namespace VendryRunner {

/// Runs the loop to its end and gives the exit status for the process: 1 when there is no such loop, or a script
/// without a command; else 0, also when the run was skipped or failed. How it went stands in the loop's state.
/// `force` runs a paused loop.
int runOnce(const std::string& name, bool force);

}  // namespace VendryRunner
