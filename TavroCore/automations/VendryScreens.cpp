#include "TavroCore/automations/VendryScreens.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "Platform/Screens.h"

namespace VendryScreens {

namespace {

/// Without its fraction. No screen reaches so far that a sum of three of these would not fit.
long long whole(double value) {
  constexpr double farthest = 1e15;
  return std::isnan(value) ? 0 : static_cast<long long>(std::clamp(value, -farthest, farthest));
}

/// The height, upward, of the line that scripts count downward from: the upper edge of the primary screen.
long long topEdge(const std::vector<Screens::Screen>& screens) {
  const auto primary = std::ranges::find_if(screens, [](const auto& screen) { return screen.x == 0 && screen.y == 0; });
  const auto& chosen = primary == screens.end() ? screens.front() : *primary;
  return whole(chosen.y) + whole(chosen.height);
}

Display display(long long index, const Screens::Screen& screen, long long edge) {
  const long long width = whole(screen.width), height = whole(screen.height);
  const long long left = whole(screen.x), top = edge - (whole(screen.y) + height);
  return {.index = index,
          .bounds = fmt::format("{{{}, {}, {}, {}}}", left, top, left + width, top + height),
          .size = fmt::format("{}x{}", width, height),
          .isMain = screen.isMain};
}

}  // namespace

std::vector<Display> all() {
  const auto screens = Screens::all();
  if (screens.empty()) return {};
  const long long edge = topEdge(screens);
  std::vector<Display> displays;
  for (const auto& screen : screens) displays.push_back(display(static_cast<long long>(displays.size()), screen, edge));
  return displays;
}

std::optional<std::string> bounds(long long index) {
  for (auto& display : all())
    if (display.index == index) return std::move(display.bounds);
  return std::nullopt;
}

}  // namespace VendryScreens
