#include "Platform/linux/terminal/WindowPlacement.h"

#include "Platform/Environment.h"
#include "Platform/Error.h"
#include "Platform/linux/PlugIn.h"

namespace WindowPlacement {

namespace {

/// Calls the module's function, which tells whether it could; false where there is no X server or no module.
template <class... Arguments>
bool ask(const char* function, const Arguments&... arguments) {
  if (!Environment::value("DISPLAY")) return false;
  try {
    return reinterpret_cast<bool (*)(const Arguments&...)>(PlugIn::function("x11", function))(arguments...);
  } catch (const Error&) {
    return false;
  }
}

}  // namespace

std::optional<Bounds> bounds(const Window& window) {
  Bounds found;
  Bounds* const place = &found;
  return ask("x11WindowBounds", window, place) ? std::optional(found) : std::nullopt;
}

void place(const Window& window, const Bounds& bounds) { ask("x11PlaceWindow", window, bounds); }

void raise(const Window& window) { ask("x11RaiseWindow", window); }

}  // namespace WindowPlacement
