// The monitors of the X server that DISPLAY names, which Xwayland is too, through the module x11.
#include "Platform/Screens.h"

#include <memory>

#include "Platform/Environment.h"
#include "Platform/Error.h"
#include "Platform/linux/PlugIn.h"

std::vector<Screens::Screen> Screens::all() {
  if (!Environment::value("DISPLAY")) return {};
  using Monitors = std::vector<Screen>*();
  try {
    static auto* const monitors = reinterpret_cast<Monitors*>(PlugIn::function("x11", "x11Monitors"));
    return std::move(*std::unique_ptr<std::vector<Screen>>(monitors()));
  } catch (const Error&) {  // the module isn't there
    return {};
  }
}
