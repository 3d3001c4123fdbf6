// The automations for people who type: by their names, and with what their timers say.
#pragma once

#include <map>
#include <optional>
#include <string>

#include "TavroCore/automations/Automation.h"

namespace Loops {

/// The one of exactly this name. Throws CommandError (failed), `absence`, when there is none.
Automation get(const std::string& name);
/// `no automation "NAME"`, with the nearest that is there.
std::string absence(const std::string& name);
/// Why no list of the engine's has one whose record is there; nothing where one has it, or there is none.
std::optional<std::string> fault(const std::string& name);
/// Those that have one, by their names.
std::map<std::string, std::string> faults();

/// What it does, in a line. Of a tool's command only the tool with its arguments, if it begins with our own `tavro
/// run`: the words may stand anywhere in a command that does something else.
std::string work(const Automation& automation);

/// Is the timer of an enabled loop in its place on disk? A cheap look: whether launchd knows it, it doesn't tell.
bool hasTimer(const Automation& automation);
/// When its timer fires next; nothing for one that is paused or has no timer. Of an interval it is a guess once the
/// computer was started anew: launchd then counts from there, and we only know when the timer was written.
std::optional<Dates::Instant> nextRun(const Automation& automation);

/// What keeps an agent's loop from its work, as far as it can be seen beforehand: a client that isn't installed, a
/// window without a display. A sentence; nothing where nothing does.
std::optional<std::string> obstacle(const Automation& automation);

}  // namespace Loops
