// The automations for people who type: by their names, and with what their timers say.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "TavroCore/automations/Automation.h"

namespace Loops {

/// The one of exactly this name. Throws CommandError (failed) that names the nearest when there is none.
Automation get(const std::string& name);
/// Throws that CommandError.
[[noreturn]] void unknown(const std::string& name);

/// Those whose record can't be read, so that no list of the engine's has them.
std::vector<std::string> unreadable();

/// Does the loop have a timer, as an enabled one should?
bool hasTimer(const Automation& automation);
/// When its timer fires next; nothing for one that is paused or has no timer.
std::optional<Dates::Instant> nextRun(const Automation& automation);

}  // namespace Loops
