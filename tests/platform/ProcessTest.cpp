// Guards the road to other programs: no deadlock whatever a child does with its handles, nothing of ours
// left in it, and an end that is told truly.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <future>

#include "Platform/Files.h"
#include "Platform/Process.h"
#include "Platform/Text.h"
#include "tests/platform/Eventually.h"
#include "tests/platform/TemporaryDirectory.h"

namespace {

using Process::LaunchFailure;
using testing::ElementsAre;

Process::Command shell(const std::string& script) { return {.program = "/bin/sh", .arguments = {"-c", script}}; }

int failureOf(const Process::Command& command, void (*start)(const Process::Command&)) {
  try {
    start(command);
    return 0;
  } catch (const LaunchFailure& failure) {
    EXPECT_EQ(failure.stage(), LaunchFailure::Stage::spawn);
    EXPECT_EQ(failure.description(), "could not start " + command.program.native() + ": " + failure.reason());
    return failure.errorNumber();
  }
}

void runOnly(const Process::Command& command) { Process::run(command); }

TEST(Process, drainsBothOutputsAndFeedsTheInputAtOnce) {
  // Each of the three is larger than any pipe, and the child moves them in turn.
  Process::Command command = shell("head -c 3000000 /dev/zero >&2; cat; head -c 3000000 /dev/zero >&2");
  command.input = std::string(5'000'000, 'i');
  const auto result = Process::run(command);
  EXPECT_TRUE(result.status.ok());
  EXPECT_EQ(result.output, command.input);
  EXPECT_EQ(result.errors.size(), 6'000'000U);
}

TEST(Process, survivesAChildThatDoesNotReadItsInput) {
  for (const char* script : {"exit 3", "exec 0<&-; echo x >/dev/null; exit 3", "head -c 1 >/dev/null; exit 3"}) {
    Process::Command command = shell(script);
    command.input = std::string(5'000'000, 'i');
    EXPECT_EQ(Process::run(command).status.code, 3) << script;
  }
  sigset_t pending;
  sigpending(&pending);
  EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
  EXPECT_EQ(signal(SIGPIPE, SIG_DFL), SIG_DFL) << "the process's own disposition was changed";
}

TEST(Process, tellsSignalsFromExitStatuses) {
  const auto killed = Process::run(shell("echo before; kill -KILL $$"));
  EXPECT_FALSE(killed.status.exited);
  EXPECT_EQ(killed.status.signal, SIGKILL);
  EXPECT_EQ(killed.output, "before\n");
  const auto failed = Process::run(shell("exit 137"));
  EXPECT_TRUE(failed.status.exited);
  EXPECT_EQ(failed.status.code, 137);
}

TEST(Process, endsWhatTakesLongerThanItsLimitOrOurPatience) {
  using std::chrono::milliseconds;
  auto command = shell("echo before; sleep 2 & exec sleep 2");
  command.limit = milliseconds(300);
  EXPECT_EQ(Process::run(command).output, "before\n");
  command.output = command.errors = Process::Output::discard;
  EXPECT_EQ(Process::run(command).status.signal, SIGKILL);
  command = shell("trap '' TERM; sleep 600 & while :; do wait; done");
  command.output = Process::Output::discard;
  auto deaf = std::async(std::launch::async, [&] { return Process::run(command).status.signal; });
  std::vector<Process::Seen> family;
  EXPECT_TRUE(eventually([&] { return (family = Process::family(getpid())).size() == 3; })) << "us, it and its child";
  family.erase(family.begin());
  Process::endAll(family, milliseconds(0));
  EXPECT_EQ(deaf.get(), SIGKILL);
  EXPECT_FALSE(Process::isAlive(family.back().process));
}

TEST(Process, passesArgumentsVariablesAndFolderAsTheyAre) {
  const TemporaryDirectory folder;
  const Environment::Setting kept("TAVRO_TEST_KEPT", "kept");
  const Environment::Setting replaced("TAVRO_TEST_REPLACED", "old");
  Process::Command command = shell(R"(printf '%s|' "$@" "$TAVRO_TEST_KEPT" "$TAVRO_TEST_REPLACED"; pwd -P)");
  for (const char* text : {"name", "a b", "'\"\\$x", "line\nbreak", "", "\xFF"}) command.arguments.push_back(text);
  command.environment = {{"TAVRO_TEST_REPLACED", "new"}};
  command.directory = folder.path();
  EXPECT_EQ(Process::run(command).output,
            "a b|'\"\\$x|line\nbreak||\xFF|kept|new|" + std::filesystem::canonical(folder.path()).native() + "\n");
  EXPECT_TRUE(Process::run({.program = "true"}).status.ok()) << "PATH is searched for a bare name";
}

TEST(Process, aProgramThatCannotStartIsALaunchFailure) {
  const TemporaryDirectory folder;
  Files::replace(folder / "text", "no program");
  for (auto start : {runOnly, Process::detach}) {
    EXPECT_EQ(failureOf({.program = folder / "none"}, start), ENOENT);
    EXPECT_EQ(failureOf({.program = "tavro-no-such-program"}, start), ENOENT);
    EXPECT_EQ(failureOf({.program = folder / "text"}, start), EACCES);
    EXPECT_EQ(failureOf({.program = "/bin/true", .arguments = {std::string("a\0b", 3)}}, start), EINVAL);
    EXPECT_EQ(failureOf({.program = "/bin/true", .arguments = {std::string(4'000'000, 'a')}}, start), E2BIG);
    EXPECT_EQ(failureOf({.program = "/bin/true", .directory = folder / "none"}, start), ENOENT);
  }
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child was left unreaped";
}

TEST(Process, givesTheChildNothingOfOurs) {
  const int leak = open("/dev/null", O_RDONLY);  // as a library might: without close-on-exec
  sigset_t blocked;
  sigset_t before;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGTERM);
  sigprocmask(SIG_BLOCK, &blocked, &before);
  signal(SIGUSR1, SIG_IGN);
  const auto handles = Process::run({.program = "/bin/ls", .arguments = {"/proc/self/fd"}});
  const auto signals = Process::run({.program = "/bin/grep", .arguments = {"^Sig[BI]", "/proc/self/status"}});
  signal(SIGUSR1, SIG_DFL);
  sigprocmask(SIG_SETMASK, &before, nullptr);
  close(leak);
  EXPECT_THAT(Text::split(handles.output, '\n', true), ElementsAre("0", "1", "2", "3"));  // 3 is ls's own
  const auto lines = Text::split(signals.output, '\n', true);
  ASSERT_EQ(lines.size(), 2U) << signals.output;
  EXPECT_EQ(lines[0], "SigBlk:\t0000000000000000");
  const auto ignored = std::stoull(lines[1].substr(lines[1].find('\t')), nullptr, 16);
  EXPECT_EQ(ignored & ~0x1'8000'0000ULL, 0U) << "all but the two that the C library keeps to itself";
}

TEST(Process, worksWithStandardHandlesAndChildSignalsOff) {
  // As a client may start us: SIGCHLD ignored, standard handles closed. In a process of its own.
  const pid_t self = fork();
  if (self == 0) {
    signal(SIGCHLD, SIG_IGN);
    for (int handle = 0; handle < 3; ++handle) close(handle);
    Process::Command command = shell("cat; echo bad >&2; exit 4");
    command.input = "text";
    const auto fed = Process::run(command);
    const bool gathered = fed.status.code == 4 && fed.output == "text" && fed.errors == "bad\n";
    command = shell("echo bad >&2");
    command.output = Process::Output::discard;
    _exit(gathered && Process::run(command).errors == "bad\n" ? 0 : 1);
  }
  int status = 0;
  waitpid(self, &status, 0);
  EXPECT_EQ(status, 0);
}

TEST(Process, aDetachedChildHasASessionOfItsOwnAndIsNoZombieOfOurs) {
  const TemporaryDirectory folder;
  // The fourth handle of the shell is the pipe that it reads the answers from.
  Process::Command command = shell(R"(
    told=$(readlink /proc/$$/fd/0 /proc/$$/fd/1 /proc/$$/fd/2; ls /proc/$$/fd | wc -l; ps -o sid= -p $$; echo $$)
    echo "$told" > new; mv new told; read gone < hold)");
  command.directory = folder.path();
  ASSERT_EQ(mkfifo((folder / "hold").c_str(), 0600), 0);
  Process::detach(command);
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child was left to reap";
  ASSERT_TRUE(eventually([&] { return Files::exists(folder / "told"); }));
  const auto told = Text::split(*Files::read(folder / "told"), '\n', true);
  ASSERT_EQ(told.size(), 6U);
  for (int handle = 0; handle < 3; ++handle) EXPECT_EQ(told[static_cast<std::size_t>(handle)], "/dev/null");
  EXPECT_EQ(told[3], "4");
  EXPECT_EQ(Text::trim(told[4]), told[5]);
  const auto process = static_cast<pid_t>(Text::parseInteger(told[5]).value_or(0));
  EXPECT_TRUE(Process::isAlive(process));
  std::ofstream(folder / "hold").close();  // the pipe that it reads
  EXPECT_TRUE(eventually([&] { return !Process::isAlive(process); }));
}

TEST(Process, aZombieIsNotAlive) {
  const pid_t child = fork();
  if (child == 0) _exit(0);
  siginfo_t info;
  waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOWAIT);
  EXPECT_FALSE(Process::isAlive(child));
  waitpid(child, nullptr, 0);
  EXPECT_FALSE(Process::isAlive(child));
  EXPECT_TRUE(Process::isAlive(getpid()));
  EXPECT_TRUE(Process::isAlive(1));
  EXPECT_FALSE(Process::isAlive(0));
  EXPECT_FALSE(Process::isAlive(-1));
}

TEST(Process, appendsBothOutputsToTheLogAndReadsItsInputFromAFile) {
  const TemporaryDirectory folder;
  Files::replace(folder / "input", "said\n");
  Files::replace(folder / "log", "before\n");
  auto command = shell("cat; echo wrong >&2; exit 7");
  command.inputFile = folder / "input";
  command.log = folder / "log";
  EXPECT_EQ(Process::run(command).status.shellCode(), 7);
  EXPECT_EQ(Files::read(folder / "log"), "before\nsaid\nwrong\n");

  mkfifo((folder / "pipe").c_str(), 0600);
  for (const char* unusable : {"missing/log", "pipe"}) {  // no reason not to run, nor to wait
    command.log = folder / unusable;
    EXPECT_EQ(Process::run(command).status.shellCode(), 7);
  }
  EXPECT_EQ(Process::run(shell("kill -9 $$")).status.shellCode(), 137);
}

TEST(Process, anIdentityIsOfOneProcessAlone) {
  const Process::Seen us{getpid(), Process::identity(getpid())};
  EXPECT_TRUE(Process::isAlive(us));
  EXPECT_FALSE(Process::isAlive({1, us.identity}));
  EXPECT_EQ(Process::identity(0), "");
}

}  // namespace
