// The three ways in which an agent's client is started and watched. Each takes the run to its end: the log's lines, the
// session's closing, the state. A session gets the client through the inner script, which stands by then.
#pragma once

#include "TavroCore/automations/LoopRun.h"

namespace Launchers {

/// In a detached tmux session of the loop's name, to which the owner can attach. False when tmux refuses it; then
/// nothing has happened.
bool runInTmux(const LoopRun& run);
/// In a terminal window of its own, which is closed when the agent is done.
void runInWindow(const LoopRun& run);
/// As our child, without a terminal and without a time limit: its end decides, and its output goes to the log.
void runAsChild(const LoopRun& run);

}  // namespace Launchers
