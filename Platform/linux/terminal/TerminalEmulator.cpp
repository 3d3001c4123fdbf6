#include "Platform/linux/terminal/TerminalEmulator.h"

#include <unistd.h>

#include <string>
#include <vector>

#include "Platform/Environment.h"
#include "Platform/Process.h"
#include "Platform/Text.h"

namespace TerminalEmulator {

namespace {

/// Its words: the program and its arguments. A path with blanks in it is one word when it is a program.
std::vector<std::string> words() {
  const auto chosen = Environment::value("TERMINAL").value_or("x-terminal-emulator");
  if (::access(chosen.c_str(), X_OK) == 0 && chosen.find('/') != std::string::npos) return {chosen};
  auto found = Text::split(chosen, ' ', true);
  return found.empty() ? std::vector<std::string>{"x-terminal-emulator"} : found;
}

}  // namespace

void open(const std::filesystem::path& program) {
  if (!Environment::value("DISPLAY") && !Environment::value("WAYLAND_DISPLAY"))
    throw Error("There is no graphical session to open a window in (DISPLAY and WAYLAND_DISPLAY are not set).");
  auto arguments = words();
  const std::string emulator = arguments.front();
  arguments.erase(arguments.begin());
  arguments.insert(arguments.end(), {"-e", program.string()});
  try {
    // Not the number of the window that we were called in.
    Process::detach({.program = emulator, .arguments = arguments, .environment = {{"WINDOWID", ""}}});
  } catch (const Process::LaunchFailure& failure) {
    throw Error("The terminal emulator “" + emulator + "” could not be started (" + failure.reason() +
                "); TERMINAL names the one to use.");
  }
}

}  // namespace TerminalEmulator
