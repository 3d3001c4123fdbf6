// What runs inside of a terminal's window: a shell, or a command, on a terminal of its own, whose input and output it
// passes on both ways. That terminal is what scripts type into, and what they know the window by.
//
// The shell ends with the window, and the window with the shell. Whoever doesn't heed the hang-up is killed.
#pragma once

#include <filesystem>

namespace TerminalHost {

/// Runs the session of this directory (TerminalSession.h) to its end, on the terminal that is our standard input.
/// Returns the shell's exit status. Throws Error when it can't begin.
int run(const std::filesystem::path& directory);

}  // namespace TerminalHost
