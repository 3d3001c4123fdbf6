// The bound on recursion: scripts decide how deep the parser and the evaluator go, so both ask here
// before each level, and a script that goes too deep gets an error instead of a crash.
#pragma once

namespace AppleScript {

/// Throws ScriptError -2706 when little of this thread's stack is left.
void checkStack();

}  // namespace AppleScript
