// The scriptable applications of the Linux desktop.
#pragma once

#include <memory>

#include "Platform/linux/applescript/Application.h"

namespace Applications {

/// Finds Mail, Calendar, Reminders, Notes, Contacts, Messages, Finder, Terminal, iTerm2 and System Events, each made
/// when a script first names it and kept while the directory lives. They work on the stores below Desktop::root().
std::unique_ptr<AppleScript::Directory> installedApplications();

// One application each.
std::shared_ptr<AppleScript::Application> mail();
std::shared_ptr<AppleScript::Application> calendar();
std::shared_ptr<AppleScript::Application> reminders();
std::shared_ptr<AppleScript::Application> notes();
std::shared_ptr<AppleScript::Application> contacts();
std::shared_ptr<AppleScript::Application> messages();
std::shared_ptr<AppleScript::Application> finder();
std::shared_ptr<AppleScript::Application> terminal();
std::shared_ptr<AppleScript::Application> iTerm2();
std::shared_ptr<AppleScript::Application> systemEvents();

}  // namespace Applications
