// Where a terminal's window is on the screen, and moving it, as far as an X server can be asked. On Wayland a
// program places no windows, so everything here is a wish: what can't be done is passed over.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <vector>

namespace WindowPlacement {

/// With its frame, in a script's coordinates: from the top left of the primary monitor, downward.
struct Bounds {
  int left = 0;
  int top = 0;
  int right = 0;
  int bottom = 0;
};

/// How a window is found: by its number, where the emulator told it, unless another program's window has it; else as
/// the only one of one of these processes, which are tried in turn.
struct Window {
  std::uint32_t number = 0;
  std::vector<pid_t> processes = {};
};

std::optional<Bounds> bounds(const Window& window);
void place(const Window& window, const Bounds& bounds);
/// In front of the others, and what is typed goes to it.
void raise(const Window& window);

}  // namespace WindowPlacement
