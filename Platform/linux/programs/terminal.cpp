// terminal: what the desktop's Terminal and iTerm2 run in the windows of the owner's terminal emulator. It is started
// by the path of a link in its session's directory, by which it knows what to do; people never call it.
#include <filesystem>
#include <iostream>

#include "Platform/Error.h"
#include "Platform/linux/terminal/TerminalHost.h"

int main(int, char** words) {
  try {
    return TerminalHost::run(std::filesystem::path(words[0] == nullptr ? "" : words[0]).parent_path());
  } catch (const Error& error) {
    std::cerr << "terminal: " << error.description() << "\n";
  }
  return 1;
}
