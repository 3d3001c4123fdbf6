// The owner's terminal emulator: $TERMINAL, which may hold arguments, else x-terminal-emulator.
#pragma once

#include <filesystem>

namespace TerminalEmulator {

/// Opens a window in which `program` runs without arguments (-e takes one word in some emulators, and all that follow
/// in others). Returns when the emulator runs. Throws Error where there is no screen or no emulator.
void open(const std::filesystem::path& program);

}  // namespace TerminalEmulator
