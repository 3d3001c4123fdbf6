// The displays that are attached, in the system's order.
#pragma once

#include <vector>

namespace Screens {

/// In the system's units, y upward from the bottom left of the primary display, whose origin is (0, 0).
struct Screen {
  double x = 0;
  double y = 0;
  double width = 0;
  double height = 0;
  bool isMain = false;
};

/// Empty where there is no display, or none that can be asked.
std::vector<Screen> all();

}  // namespace Screens
