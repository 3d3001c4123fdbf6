#include <fmt/format.h>

#include "Platform/HeldTermination.h"
#include "Platform/Process.h"
#include "Platform/Program.h"
#include "Platform/Text.h"
#include "TavroCore/automations/DoneMarker.h"
#include "TavroCore/automations/Launchers.h"
#include "TavroCore/automations/PlainText.h"
#include "TavroCore/automations/ShellText.h"
#include "TavroCore/automations/VendryScreens.h"

namespace {

/// Inside the double quotes of a script's text.
std::string escaped(std::string_view text) {
  return Text::replaceAll(Text::replaceAll(text, "\\", "\\\\"), "\"", "\\\"");
}

/// The script's trimmed output; empty also when it can't be run.
std::string osascript(const std::string& text) {
  try {
    const auto result =
        Process::run({.program = Platform::program("osascript"), .input = text, .errors = Process::Output::discard});
    return std::string(Text::trim(Text::decodeUTF8(result.output).value_or("")));
  } catch (const Process::LaunchFailure&) {
    return "";
  }
}

std::string placement(const LoopRun& run) {
  const auto bounds = run.screen ? VendryScreens::bounds(*run.screen) : std::nullopt;
  return bounds ? "set bounds of newWindow to " + *bounds : "";
}

/// What the window's shell is to run, as it stands in the script.
std::string shellPath(const LoopRun& run) { return escaped(ShellText::word(run.files.innerScript.native())); }

/// Gives the session's id; empty when there is none, or one that can't stand in the closing script.
std::string openWindow(const LoopRun& run) {
  const std::string output = osascript(fmt::format(R"(tell application "iTerm2"
  activate
  set newWindow to (create window with default profile)
  {}
  tell current session of newWindow
    write text "exec bash {}"
  end tell
  return id of current session of newWindow
end tell
)",
                                                   placement(run), shellPath(run)));
  const std::string id = Text::replaceAll(output, "\n", "");
  return PlainText::isPlain(id, "-_.:") ? id : "";
}

void closeWindow(const std::string& id) {
  osascript(fmt::format(R"(tell application "iTerm2"
  repeat with w in windows
    repeat with t in tabs of w
      repeat with s in sessions of t
        if (id of s) is "{}" then
          close t
        end if
      end repeat
    end repeat
  end repeat
end tell
)",
                        id));
}

/// Has the owner closed the window by hand? To ask takes a script of its own, so it is asked at every fifth look only,
/// and again at the next one where it seems so.
class ClosedWindow {
 public:
  explicit ClosedWindow(const std::string& id)
      : question_(fmt::format(R"(if application "iTerm2" is not running then return false
tell application "iTerm2"
  repeat with w in windows
    repeat with t in tabs of w
      repeat with s in sessions of t
        if (id of s) is "{}" then return true
      end repeat
    end repeat
  end repeat
end tell
return false
)",
                              id)) {}

  bool isSeen() {
    constexpr int period = 5;
    if (isSeen_ || ++looks_ % period == 0) isSeen_ = osascript(question_) == "false";
    return isSeen_;
  }

 private:
  std::string question_;
  int looks_ = 0;
  bool isSeen_ = false;
};

}  // namespace

void Launchers::runInWindow(const LoopRun& run) {
  // `stop` ends us by a signal. It waits until the window is closed, or the agent would work on unwatched in there.
  const HeldTermination termination;
  const std::string id = openWindow(run);
  run.logEvent("launched iTerm2 session " + id);
  // Where no window opens, the owner may still start the script by hand; so only the marker and the limit count then.
  ClosedWindow closed(id);
  const auto isGone = [&] { return !id.empty() && closed.isSeen(); };
  const auto pause = [&](DoneMarker::Time until) { return !termination.comesBefore(until); };
  const auto ending = DoneMarker::wait(run.files.doneMarker, run.timeLimit, {.isGone = isGone, .pause = pause});
  if (ending.isSessionGone) run.logEvent("window closed without a signal");
  if (!ending.isCalledOff) run.writeState(ending.code);
  if (!id.empty()) closeWindow(id);
  run.logEvent("run finished");
}
