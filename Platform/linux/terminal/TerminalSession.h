// The windows of Terminal and iTerm2: windows of the owner's own terminal emulator, each with one session in it. What
// runs in such a window is our program Contents/Desktop/terminal (TerminalHost.h), which keeps a shell on a terminal
// of its own and tells of itself in the session's directory below Desktop::root():
//
//   terminals/<id>/iTerm2           what the emulator runs: a link to our program, under the application's name
//   terminals/<id>/request.json     what it is to do there, until it has read it
//   terminals/<id>/session.json     what it tells; younger than others' when its window came to the front later
//   terminals/<id>/input            a pipe: what is written into it is typed in the window
//
// A session counts for as long as its program lives. Directories of those that were killed are passed over and removed.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Error.h"
#include "Platform/linux/terminal/WindowPlacement.h"

struct TerminalSession {
  std::string id;           // a UUID
  std::string application;  // "Terminal", "iTerm2"
  pid_t process = 0;        // our program in the window; also the window's id in scripts
  std::string identity;     // its Process::identity
  pid_t shell = 0;          // what it started, the leader of all that runs on the terminal
  std::string tty;
  std::uint32_t window = 0;  // the X window that the emulator told, else 0
};

namespace TerminalSessions {

/// What is to run in a new window.
struct Request {
  std::string application;
  std::string command = {};  // a line for the shell; empty is the owner's login shell
};

/// The windows of an application, the front one first.
std::vector<TerminalSession> all(std::string_view application);

bool isThere(const TerminalSession& session);

/// Opens a window and waits until its session is there. Throws Error where there is no screen and no emulator to open
/// it with, and when it doesn't come up.
TerminalSession open(const Request& request);

/// Types the text as it is. Throws Error when the session is gone, or takes nothing any more.
void type(const TerminalSession& session, std::string_view text);

/// Ends what runs in the window, and the window with it; returns when it is gone. False when it was already.
bool close(const TerminalSession& session);

/// Puts the window in front of the application's others, as `all` tells it, and of all where the screen lets us.
void bringToFront(const TerminalSession& session);

/// How its window is found on the screen.
WindowPlacement::Window window(const TerminalSession& session);

// ---- What the two programs share of the directory.

/// Our own variables go to the window as they are here: an emulator that is already running hands down those of
/// another day, and a run of an automation must stay one in the windows that it opens.
std::map<std::string, std::string> ownVariables();

struct Order {
  Request request;
  std::map<std::string, std::string> variables;
};
/// What the window that was opened with this directory is to do, once. Throws Error when nobody waits for it.
Order order(const std::filesystem::path& directory);
/// From now on the session is there. Throws FileFailure when it isn't waited for any more.
void announce(const std::filesystem::path& directory, const TerminalSession& session);

std::filesystem::path inputPipe(const std::filesystem::path& directory);

}  // namespace TerminalSessions
