// The attached displays, for loops that open their window on a chosen one. Positions are those of scripts: from the top
// left of the primary display, downward.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace VendryScreens {

struct Display {
  long long index = 0;  // in the system's list, so it changes when displays come and go
  std::string bounds;   // "{<left>, <top>, <right>, <bottom>}", as a script writes it
  std::string size;     // "<width>x<height>"
  bool isMain = false;
};

std::vector<Display> all();
/// Of the display with that index; nothing when there is none.
std::optional<std::string> bounds(long long index);

}  // namespace VendryScreens
