// Guards Terminal and iTerm2 with real windows: xterm on a screen of the test's own, scripts through the real osascript
// and open.
#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <optional>

#include "Platform/Bundle.h"
#include "Platform/Files.h"
#include "Platform/Process.h"
#include "Platform/Text.h"
#include "Platform/linux/terminal/ProcessTree.h"
#include "Platform/linux/terminal/TerminalSession.h"
#include "tests/platform/Eventually.h"
#include "tests/platform/TemporaryDirectory.h"
#include "tests/windows/VirtualScreen.h"

namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

class Windows : public testing::Test {
 protected:
  Windows() {
    for (const char* name : {"TAVRO_HOME", "TAVRO_PLATFORM_BIN", "VENDRY_RUN", "WINDOWID"}) unsetenv(name);
    setenv("TAVRO_DESKTOP", path("desktop").c_str(), 1);
    setenv("HOME", scratch_.path().c_str(), 1);
    setenv("SHELL", "/bin/bash", 1);
    setenv("TERMINAL", "xterm", 1);
    // A closing terminal continues what it hangs up, which makes LeakSanitizer wait for a stop that never comes.
    setenv("ASAN_OPTIONS", "detect_leaks=0", 1);
  }
  ~Windows() override {
    for (const char* application : {"Terminal", "iTerm2"})
      for (const auto& session : TerminalSessions::all(application)) TerminalSessions::close(session);
  }

  std::string path(const char* name) const { return (scratch_ / name).string(); }
  std::string get(const char* name) const { return Files::readIfPossible(scratch_ / name).value_or("(no file)"); }
  /// An executable file.
  std::string put(const char* name, const std::string& text) const {
    std::ofstream(scratch_ / name) << text;
    Files::setMode(scratch_ / name, 0755);
    return path(name);
  }
  /// Shell text that makes `name` of what `command` prints, all at once.
  std::string makes(const char* name, const std::string& command) const {
    return command + " > " + path("part") + "; mv " + path("part") + " " + path(name);
  }
  std::string waitFor(const char* name) const {
    EXPECT_TRUE(eventually([&] { return Files::exists(scratch_ / name); })) << name;
    return get(name);
  }

  static std::string program(const char* name) { return Bundle::url() / "Contents/Desktop" / name; }
  static std::string script(const std::string& text) {
    const auto result = Process::run({.program = program("osascript"), .arguments = {}, .input = text});
    return std::string(Text::trim(result.output + result.errors));
  }
  static std::string tell(const std::string& application, const std::string& statements) {
    return script("tell application \"" + application + "\"\n" + statements + "\nend tell\n");
  }
  static Process::Result open(std::vector<std::string> arguments) {
    return Process::run({.program = program("open"), .arguments = std::move(arguments), .input = ""});
  }
  static std::string openLoop(const std::string& run, const std::string& placement) {
    return script(
        "tell application \"iTerm2\"\n  activate\n"
        "  set newWindow to (create window with default profile)\n  " +
        placement + "\n  tell current session of newWindow\n    write text \"exec bash " + run +
        "\"\n  end tell\n  return id of current session of newWindow\nend tell");
  }
  static std::string closeLoop(const std::string& id) {
    return script(
        "tell application \"iTerm2\"\n  repeat with w in windows\n    repeat with t in tabs of w\n"
        "      repeat with s in sessions of t\n        if (id of s) is \"" +
        id + "\" then\n          close t\n        end if\n      end repeat\n    end repeat\n  end repeat\nend tell");
  }
  TerminalSession onlySession(const char* application) const {
    const auto all = TerminalSessions::all(application);
    EXPECT_EQ(all.size(), 1U);
    return all.empty() ? TerminalSession() : all.front();
  }

  TemporaryDirectory scratch_;
  std::optional<VirtualScreen> screen_{std::in_place};
};

TEST_F(Windows, aLoopsWindowOpensInItsPlaceRunsItsScriptAndIsClosedByItsId) {
  // A shell that throws away what was typed before it was ready, and an emulator that forgets whose window it is.
  put(".bash_profile", "sleep 0.3; perl -MPOSIX -e 'tcflush(0, TCIFLUSH)'\n");
  setenv("TERMINAL", (put("emulator", "#!/bin/sh\nunset VENDRY_RUN; exec xterm \"$@\"\n") + " -bd red").c_str(), 1);
  setenv("VENDRY_RUN", "nightly", 1);
  const auto run = put("x.run.sh", "trap '' HUP; " + makes("ran", "{ test -t 0 && echo terminal $VENDRY_RUN $$; }") +
                                       "; while :; do sleep 1; done\n");
  const auto other = openLoop(run, "");
  waitFor("ran");
  Files::remove(scratch_ / "ran");
  const auto id = openLoop(run, "set bounds of newWindow to {100, 50, 900, 550}");
  EXPECT_THAT(id, MatchesRegex("[0-9A-F-]{36}"));
  const auto words = Text::split(Text::trim(waitFor("ran")), ' ');
  EXPECT_THAT(words, testing::ElementsAre("terminal", "nightly", testing::_));
  EXPECT_EQ(tell("iTerm", "bounds of current window"), "100, 50, 900, 550");
  for (const auto number : {0U, TerminalSessions::all("iTerm2").back().window, 12345U}) {
    auto window = TerminalSessions::window(TerminalSessions::all("iTerm2").front());
    window.number = number;  // none told, another's, and none at all
    EXPECT_EQ(WindowPlacement::bounds(window).value_or(WindowPlacement::Bounds()).left, 100) << number;
  }

  EXPECT_EQ(closeLoop(id), "");
  EXPECT_FALSE(Process::isAlive(std::stoi(words.back()))) << "it doesn't heed a hang-up";
  EXPECT_EQ(tell("iTerm2", "id of sessions of tab 1 of windows"), other);
  EXPECT_EQ(closeLoop(id), "");
}

TEST_F(Windows, attachOpensAWindowForItsScriptWhichClosesIt) {
  const std::string terminal = "      if tty of (selected tab of w) is t then close w saving no\n";
  const std::string iTerm =
      "repeat with tb in tabs of w\nrepeat with s in sessions of tb\ntry\n      if tty of s is t then close w\n"
      "end try\nend repeat\nend repeat\n";
  for (const auto& [name, application, block] :
       {std::tuple("/Applications/Utilities/Terminal.app", "Terminal", terminal), {"iterm", "iTerm2", iTerm}}) {
    const auto text =
        "#!/bin/bash\nTTY=\"$(tty)\"\n( read < " + path("go") + "; " + program("osascript") +
        " - \"$TTY\" >/dev/null 2>&1 <<'OSA'\non run argv\n  set t to item 1 of argv\n  tell application \"" +
        application + "\"\n    repeat with w in windows\n    try\n" + block +
        "    end try\n    end repeat\n  end tell\nend run\nOSA\n  ) &\n";
    Process::run({.program = "mkfifo", .arguments = {path("go")}});
    EXPECT_EQ(open({"-a", name, put("tavro attach's.command", text)}).errors, "");
    EXPECT_EQ(tell(application, "count windows"), "1") << "the window stays when the script has ended";
    std::ofstream(path("go")) << "\n";
    EXPECT_TRUE(eventually([&, whose = application] { return TerminalSessions::all(whose).empty(); })) << name;
    Files::remove(scratch_ / "go");
  }
}

TEST_F(Windows, terminalTellsWhatRunsInItsTabs) {
  const auto done = makes("done", "cat");
  const std::string list = "get {busy of tab 1 of window 1, processes of selected tab of window 1, count windows}";
  EXPECT_THAT(tell("Terminal", "do script \"sleep 1000 | " + done +
                                   "\"\ndo script \"\"\nset index of window 2 to 1\n"
                                   "repeat until busy of tab 1 of window 1\nend repeat\n" +
                                   list),
              MatchesRegex("true, bash, .*sleep.*, 2"));
  EXPECT_THAT(tell("Terminal", "do script \"echo here | " + done + "\" in window 2"),
              MatchesRegex("tab 1 of window id [0-9]+ of application \"Terminal\""));
  EXPECT_EQ(waitFor("done"), "here\n");
  EXPECT_EQ(tell("Terminal", "set w to window 1\nclose windows saving no\ncount windows"), "0");
  EXPECT_THAT(tell("Terminal", "set w to window 1"), HasSubstr("Can’t get window 1. Invalid index. (-1719)"));
}

TEST_F(Windows, whereNoneCanOpenAScriptIsToldSo) {
  const auto file = put("x.command", "#!/bin/sh\n");
  setenv("TERMINAL", "/nowhere/emulator", 1);
  EXPECT_THAT(openLoop("x", ""), HasSubstr("iTerm2 got an error: The terminal emulator “/nowhere/emulator” could not"));
  unsetenv("DISPLAY");
  EXPECT_THAT(openLoop("x", ""), HasSubstr("iTerm2 got an error: There is no graphical session"));
  EXPECT_THAT(open({"-a", "Terminal", file}).errors, HasSubstr("There is no graphical session"));
  EXPECT_EQ(open({"-a", "Mail", file}).status.code, 1);
  Files::setMode(file, 0600);
  EXPECT_THAT(open({"-a", "Terminal", file}).errors, HasSubstr("is no program that can be run"));
  EXPECT_TRUE(Files::list(scratch_ / "desktop/terminals").empty());
}

TEST_F(Windows, nothingStaysOfAWindowThatWasKilled) {
  for (const bool emulator : {true, false}) {
    const auto session = TerminalSessions::open({.application = "iTerm2"});
    kill(emulator ? ProcessTree::ancestors(session.process).front() : session.process, SIGKILL);
    EXPECT_TRUE(eventually([] { return TerminalSessions::all("iTerm2").empty(); }));
    EXPECT_TRUE(eventually([&] { return !Process::isAlive(session.shell); }));
    EXPECT_TRUE(eventually([&] { return Files::list(scratch_ / "desktop/terminals").empty(); }));
    EXPECT_THROW(TerminalSessions::type(session, "x"), Error);
  }
}

TEST_F(Windows, anyBytesPassBothWaysAndWhole) {
  std::string bytes;
  for (int i = 0; i < 300'000; ++i) bytes += static_cast<char>(i * 7 + i / 256);
  const auto session = TerminalSessions::open(
      {.application = "iTerm2",
       .command = "stty raw -echo; touch " + path("ready") + "; " + makes("got", "head -c 300000") +
                  "; head -c 1000000 /dev/urandom; touch " + path("said") + "; sleep 1000"});
  waitFor("ready");
  TerminalSessions::type(session, bytes);
  EXPECT_TRUE(waitFor("got") == bytes);
  waitFor("said");
  EXPECT_TRUE(TerminalSessions::isThere(session));
}

TEST_F(Windows, theProgramInThemRunsNowhereElse) {
  const auto result = Process::run({.program = program("terminal"), .arguments = {"\xFF"}, .input = "\xFF\xFE"});
  EXPECT_EQ(result.status.code, 1);
  EXPECT_THAT(result.errors, HasSubstr("terminal: "));
}

}  // namespace
