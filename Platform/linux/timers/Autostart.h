// Has the desktop's session start launchd at login, by an entry as XDG Autostart (freedesktop.org) has it.
#pragma once

namespace Autostart {

/// Leaves an entry that says the same as it is. Without effect where the entry can't be written, since the jobs run all
/// the same until the next login.
void add() noexcept;
void remove() noexcept;

}  // namespace Autostart
