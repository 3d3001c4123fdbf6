// What the owner sees and answers on a terminal: nothing that an agent wrote may steer the screen, and only a typed
// yes lets an action run. A password that is typed appears nowhere.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>

#include "tests/cli/Sandbox.h"

using testing::HasSubstr;
using testing::Not;

namespace {

struct Session {
  std::string screen;
  int status = -1;
};

/// Runs the command with a terminal of 120 columns, types `answer` when the question stands there, and reads to the
/// end.
Session onTerminal(const Sandbox& sandbox, const std::string& command, const std::string& answer,
                   const std::string& question = "[y/N]") {
  const winsize size = {.ws_row = 24, .ws_col = 120, .ws_xpixel = 0, .ws_ypixel = 0};
  int terminal = -1;
  const pid_t child = ::forkpty(&terminal, nullptr, nullptr, &size);
  if (child == 0) {
    for (const auto& [name, value] : sandbox.environment()) ::setenv(name.c_str(), value.c_str(), 1);
    ::execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
    ::_exit(127);
  }
  Session session;
  char buffer[4096];
  bool answered = false;
  for (ssize_t count = 0; (count = ::read(terminal, buffer, sizeof buffer)) > 0;) {
    session.screen.append(buffer, static_cast<std::size_t>(count));
    if (answered || session.screen.find(question) == std::string::npos) continue;
    answered = ::write(terminal, answer.data(), answer.size()) > 0;
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  ::close(terminal);
  session.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return session;
}

class OnATerminal : public testing::Test {
 protected:
  OnATerminal() {
    sandbox.shell(
        R"(mkdir -p home/pending; printf '%s' '{"id":"AAAA1111","tool":"how_it_works","summary":"how_it_works \u001b[2J",
      "args":{"note":"hi\u001b[2J\u009b1A\u202Egnp.exe\u2028tool │ mail.open","wide":")" +
        std::string(200, 'W') + R"("},"createdAt":"2026-01-02T03:04:05Z"}' > home/pending/AAAA1111.json)");
  }

  bool waits() const { return std::filesystem::exists(sandbox.root() / "home/pending/AAAA1111.json"); }

  Sandbox sandbox;
};

TEST_F(OnATerminal, onlyATypedYesRunsTheAction) {
  for (const char* answer : {"n\n", "\n", "yeah\n", "\x04"}) {
    EXPECT_EQ(onTerminal(sandbox, "tavro approve aaaa", answer).status, 1) << answer;
    EXPECT_TRUE(waits()) << answer;
  }
  const Session piped = onTerminal(sandbox, "echo y | tavro approve AAAA1111", "n\n");
  EXPECT_TRUE(waits()) << "a piped yes is nobody's answer" << piped.screen;
  const Session session = onTerminal(sandbox, "tavro approve AAAA1111", "Yes\n");
  EXPECT_EQ(session.status, 0) << session.screen;
  EXPECT_FALSE(waits());
}

TEST_F(OnATerminal, theActionIsShownWhereTheAnswerIsTypedEvenWhenTheOutputsAreRedirected) {
  const Session session = onTerminal(sandbox, "tavro approve AAAA1111 >/dev/null 2>&1 </dev/null", "n\n");
  EXPECT_THAT(session.screen, HasSubstr("how_it_works (read)"));
  EXPECT_TRUE(waits());
}

TEST_F(OnATerminal, whatAnAgentWroteCantSteerTheScreen) {
  sandbox.shell("tavro run note.add title='hi\033[2J\u202E' body=x");
  for (const char* command : {"tavro pending", "tavro pending AAAA1111", "tavro approve AAAA1111",
                              "tavro pending --json", "tavro reject AAAA1111 2>&1", "tavro run 'x\033[2J\u202E'",
                              "tavro run note.find name=hi", "tavro audit", "tavro audit --json"}) {
    const std::string screen = onTerminal(sandbox, std::string("NO_COLOR=1 ") + command, "n\n").screen;
    EXPECT_THAT(screen, HasSubstr("[2J")) << command;
    EXPECT_THAT(screen, Not(HasSubstr("\033"))) << command;
    EXPECT_THAT(screen, Not(HasSubstr("\u009b"))) << command;
    EXPECT_THAT(screen, Not(HasSubstr("\u202E"))) << command;
    EXPECT_THAT(screen, Not(HasSubstr("\u2028"))) << command;
  }
}

TEST_F(OnATerminal, aLongArgumentIsBrokenBehindItsBarAndShownWholeAndASentenceBetweenItsWords) {
  const std::string narrow = onTerminal(sandbox, "stty cols 50; tavro rule test note.delete", "").screen;
  EXPECT_THAT(narrow, HasSubstr("because  │ no rule speaks of it; in the mode \r\n         │ copilote "));
  const std::string screen = onTerminal(sandbox, "tavro approve AAAA1111", "n\n").screen;
  EXPECT_EQ(std::count(screen.begin(), screen.end(), 'W'), 200);
  EXPECT_THAT(screen, HasSubstr("\n            │ WWW"));
}

TEST_F(OnATerminal, thePickerShowsAllThatWaitsWholeAndDoesWhatIsChosen) {
  sandbox.shell(R"(cd home/pending; for id in BBBB2222 CCCC3333; do
    printf '{"id":"%s","tool":"how_it_works","summary":"","args":{},"createdAt":"2026-02-02T03:04:05Z"}' $id > $id.json
  done)");
  const Session none = onTerminal(sandbox, "tavro approve", "4\n0-1\n\n", "rest:");
  EXPECT_EQ(std::count(none.screen.begin(), none.screen.end(), 'W'), 3 * (200 + 1));  // and that of "Which", asked anew
  EXPECT_THAT(none.screen, HasSubstr("That isn't a choice among 1 to 3."));
  EXPECT_TRUE(waits());
  const Session some = onTerminal(sandbox, "tavro approve", "r 1\n1-2\n", "rest:");
  EXPECT_EQ(some.status, 0) << some.screen;
  EXPECT_THAT(some.screen, HasSubstr("nothing waits for approval"));
  EXPECT_EQ(sandbox.shell("tavro audit | cut -f4,5 | sort").output,
            "executed\tapproved:BBBB2222\nexecuted\tapproved:CCCC3333\nrejected\trejected:AAAA1111\n");
}

TEST_F(OnATerminal, aTypedPasswordIsNotShownAndTheTerminalIsAsItWasHoweverItEnds) {
  const std::string command = "tavro imap password ann@example.org";
  const auto type = [&](const std::string& keys) {
    return onTerminal(sandbox, "trap : INT; " + command + "; echo ended $?; stty -a | grep -ow -- '-*echo'", keys,
                      "Password for ann@example.org");
  };
  for (const auto& [keys, end] : {std::pair("secret\n", "ended 0\r\necho\r\n"),
                                  {"sec\x03", "ended 130\r\necho\r\n"},
                                  {"\x04", "ended 1\r\necho\r\n"},
                                  {"\n", "ended 2\r\necho\r\n"}}) {
    const std::string screen = type(keys).screen;
    EXPECT_THAT(screen, testing::EndsWith(end));
    EXPECT_THAT(screen, Not(HasSubstr("sec")));
  }
  EXPECT_EQ(sandbox.shell("cat desktop/keychain/*").output, "secret");
  EXPECT_THAT(type("other\n").screen, HasSubstr("(replaces the one that is there):"));
  const Session piped = onTerminal(sandbox, "echo third | " + command, "n\n");
  EXPECT_THAT(piped.screen,
              HasSubstr("Keep this password for ann@example.org (replaces the one that is there)? [y/N]"));
  onTerminal(sandbox, command + " --remove", "n\n");
  EXPECT_EQ(sandbox.shell("cat desktop/keychain/*").output, "other");
}

TEST_F(OnATerminal, feedbackIsToldInAgesAndCutToTheScreen) {
  sandbox.shell("for hours in 1 47 100; do tavro feedback tell --expires-hours $hours " + std::string(200, 'W') +
                "; done");
  const std::string screen = onTerminal(sandbox, "NO_COLOR=1 tavro feedback list", "").screen;
  EXPECT_THAT(screen, testing::ContainsRegex("AUTOMATION +SINCE +EXPIRES +TEXT"));
  for (const char* expiry : {"in 60 min", "in 47 h", "in 4 days"})
    EXPECT_THAT(screen, testing::ContainsRegex(std::string("just now +") + expiry + " +W+…\r"));
  const Session wordless = onTerminal(
      sandbox, "tavro run ask text=q channel=cockpit; tavro answer $(tavro feedback list --open | cut -f1)", "");
  EXPECT_THAT(wordless.screen, HasSubstr("what is the answer?"));
  EXPECT_EQ(wordless.status, 2);
}

TEST_F(OnATerminal, coloursAreForTerminalsThatWantThem) {
  EXPECT_THAT(onTerminal(sandbox, "tavro tools", "").screen, HasSubstr("\033[1mhow_it_works"));
  for (const char* command : {"NO_COLOR=1 tavro tools", "TERM=dumb tavro tools", "NO_COLOR=1 tavro doctor"})
    EXPECT_THAT(onTerminal(sandbox, command, "").screen, Not(HasSubstr("\033"))) << command;
}

}  // namespace
