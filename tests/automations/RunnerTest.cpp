// Guards one run from its lock to its state: what is written, what is passed on, and what kills and full disks do to
// it.
#include "TavroCore/automations/RunLock.h"
#include "TavroCore/automations/RunLog.h"
#include "tests/automations/Runs.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;
using RunnerTest = Runs;

TEST_F(RunnerTest, writesDownHowAScriptEnded) {
  const std::vector<std::pair<std::string, std::string>> scripts = {
      {"true", "0"}, {"exit 3", "3"}, {"kill -9 $$", "137"}};
  for (const auto& [command, code] : scripts) {
    script("x" + code, command);
    EXPECT_EQ(run("x" + code), 0);
    const std::string line = "===== vendry: x" + code;
    EXPECT_EQ(log("x" + code), line + " @ T (script) =====\n" + line + " done (exit " + code + ") =====\n");
    EXPECT_EQ(lastExit("x" + code), code);
  }
  loop("nowhere", {{"kind", "script"}, {"command", "true"}, {"cwd", "/no/such/place"}});
  EXPECT_EQ(run("nowhere"), 0);
  EXPECT_EQ(lastExit("nowhere"), "-1");
  EXPECT_THAT(log("nowhere"), HasSubstr("[T] could not start /bin/bash: No such file or directory\n"));
  script("gone", "rm -r ~/home/automations/gone");
  script("replaced", R"(echo '{"createdAt": 9}' > ~/home/automations/replaced/loop.json)");
  for (const std::string name : {"gone", "replaced"}) {
    EXPECT_EQ(run(name), 0);
    EXPECT_EQ(lastExit(name), "(none)") << "the next loop of this name is another";
  }
}

TEST_F(RunnerTest, runsNoLoopThatIsPausedOrEmptyOrOutside) {
  loop("resting", {{"name", "resting"}, {"kind", "script"}, {"command", "true"}, {"enabled", false}});
  EXPECT_EQ(run("resting"), 0);
  EXPECT_EQ(log("resting"),
            "[T] skip: 'resting' is paused; launchd fired a stale / login-reloaded agent. Resume it in "
            "the cockpit to run.\n");
  tavro({"auto-run", "resting", "--force"});
  EXPECT_THAT(log("resting"), HasSubstr("resting done (exit 0)"));
  script("idle", "");
  EXPECT_EQ(run("idle"), 1);
  EXPECT_EQ(log("idle"), "[T] script loop 'idle' has no command - nothing to run\n");
  std::filesystem::rename(LoopFiles("idle").directory, scratch_ / "idle");
  for (const std::string name : {"idle", "../../idle", ""})
    EXPECT_EQ(tavro({"auto-run", name}).errors, "vendry: no such loop: " + name + "\n");
}

TEST_F(RunnerTest, tellsAScriptAndItsMailWhichRunTheyAreIn) {
  Files::createDirectories(home());
  Files::replace(home() / "config.json", R"({"notifyEmail":"owner@example.org"})");
  loop("env", {{"kind", "script"}, {"command", "seq 60; tavro mode yolo --yes; exit $?"}, {"notifyOnFail", true}});
  EXPECT_EQ(run("env"), 0);
  EXPECT_EQ(lastExit("env"), "4") << "the owner's verbs are denied";
  EXPECT_EQ(audit().at(0).at("action"), "mail.notify");
  EXPECT_EQ(audit().at(0).at("actor"), "vendry:env");
  EXPECT_THAT(Files::read(LoopFiles("env").failTail).value_or(""),
              StartsWith("The script loop \"env\" failed (exit 4).\n\nLast lines of the log:\n\n24\n25\n"));
  // Its mail, as one argument of a program, must be short and hold no NUL.
  loop("raw", {{"kind", "script"}, {"command", "head -c 200000 /dev/zero; exit 1"}, {"notifyOnFail", true}});
  loop("long", {{"kind", "script"}, {"command", "yes \xff | head -c 200000; exit 1"}, {"notifyOnFail", true}});
  for (const std::string name : {"raw", "long"}) {
    EXPECT_EQ(run(name), 0);
    const std::string body = Files::read(LoopFiles(name).failTail).value_or(std::string(1, '\0'));
    EXPECT_TRUE(body.find('\0') == body.npos && body.size() < Process::longestArgument) << body.size();
    EXPECT_THAT(log(name), HasSubstr("failure mail not sent"));
  }
  EXPECT_EQ(audit().size(), 3u) << "what may have been sent isn't sent again";
}

TEST_F(RunnerTest, putsALargeLogAsideAndReadsItsEnd) {
  script("talks", "true");
  const auto path = LoopFiles("talks").log;
  Files::createDirectories(path.parent_path());
  for (const std::size_t size : {1'048'576U, 1'048'577U}) {
    Files::replace(path, std::string(size, 'x'));
    EXPECT_EQ(run("talks"), 0);
    EXPECT_EQ(Files::exists(path.native() + ".1"), size > 1'048'576);
  }
  const std::string text = "\xff\n\nlast" + std::string(100'000, 'y') + "\n";
  Files::replace(path, text);
  const std::vector<std::tuple<long long, long long, std::string>> ends = {
      {99, 1'000'000, "\xEF\xBF\xBD" + text.substr(1)},
      {3, 1'000'000, text.substr(2)},
      {2, 1'000'000, text.substr(3)},
      {1, 5, ""},
      {2, 5, "…yyyy\n"},
      {-1, 5, ""}};
  for (const auto& [count, most, end] : ends) EXPECT_TRUE(RunLog::lastLines(path, count, most) == end) << count;
}

TEST_F(RunnerTest, takesOverFromAKilledRunner) {
  script("long", "trap '' TERM; echo $$ > ~/pid; until [ -e ~/go ]; do sleep 0.05; done");
  const auto started = [&] {
    Files::remove(scratch_ / "pid");
    auto ended = std::async(std::launch::async, [] { return run("long"); });
    while (!file("pid").ends_with('\n')) std::this_thread::yield();
    return ended;
  };
  auto stopped = started();
  VendryEngine::stop("long");
  EXPECT_EQ(stopped.get(), 143);
  EXPECT_FALSE(Process::isAlive(std::stoi(file("pid")))) << "it hears no signal but SIGKILL";
  auto killed = started();
  const pid_t runner = RunLock::liveHolder(LoopFiles("long")).value_or(0);
  ASSERT_GT(runner, 1);
  EXPECT_EQ(run("long"), 0);
  EXPECT_THAT(log("long"), HasSubstr("[T] skip: previous run still active (pid " + std::to_string(runner) + ")\n"));
  kill(runner, SIGKILL);
  EXPECT_EQ(killed.get(), 137);
  Files::replace(scratch_ / "go", "");
  EXPECT_EQ(run("long"), 0);
  EXPECT_THAT(log("long"), HasSubstr("[T] stale lock (pid " + std::to_string(runner) + ") - taking over\n"));
}

class FullDiskTest : public Runs {
 protected:
  FullDiskTest() {
    standIn("claude", "unset LD_PRELOAD; cat > ~/got");
    Files::createDirectories(VendryEngine::tmuxSocket());  // tmux refuses, so that no run waits for a session
  }
  /// True while there was a write to fail.
  bool runWith(const std::string& fault, int n, const std::string& name) const {
    for (const auto* trace : {"got", "fired"}) Files::remove(scratch_ / trace);
    const Variables faults = {{fault, std::to_string(n)},
                              {"TAVRO_FAULT_MARKER", scratch_ / "fired"},
                              {"LD_PRELOAD", program("libfaults.so")},
                              {"ASAN_OPTIONS", "verify_asan_link_order=0:detect_leaks=0"}};
    const auto run =
        Process::run({.program = program("tavro"), .arguments = {"auto-run", name}, .environment = faults});
    EXPECT_EQ(run.status.shellCode(), 0) << name << n << run.errors;
    return Files::exists(scratch_ / "fired");
  }
};

TEST_F(FullDiskTest, stopsNoScriptButStartsNoAgentWithAnOldPromptNorEatsAnAnswer) {
  script("cleaner", "unset LD_PRELOAD; touch ~/ran");
  runWith("TAVRO_FAULT_FROM", 1, "cleaner");
  EXPECT_TRUE(Files::exists(scratch_ / "ran"));

  int refused = 0;
  for (int n = 1, fired = 1; fired; ++n) {
    loop("agent", {{"visible", false}}, std::to_string(n));
    fired = runWith("TAVRO_FAULT_AT", n, "agent");
    refused += !Files::exists(scratch_ / "got");
    EXPECT_THAT(file("got"), testing::AnyOf("(no file)", StartsWith(std::to_string(n) + "\n\n\nWhen the")));
  }
  EXPECT_GT(refused, 4) << "the faults must reach the prompt and the inner script";
  EXPECT_THAT(log("agent"), HasSubstr("] agent not started: could not write "));

  const std::string asked = tavro({"run", "ask", "channel=cockpit", "automation=agent", "text=Which?"}).output;
  tavro({"answer", asked.substr(asked.find('#') + 1, 8), "the blue one"});
  runWith("TAVRO_FAULT_FROM", 1, "agent");
  EXPECT_EQ(file("got"), "(no file)");
  EXPECT_EQ(run("agent"), 0);
  EXPECT_THAT(file("got"), HasSubstr("the blue one"));
}

}  // namespace
