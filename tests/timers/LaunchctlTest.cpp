// Guards the two programs as their callers meet them: what is loaded runs by itself, once at a time, whatever is
// killed; what is wrong is refused with its reason; and nothing of an agent's environment gets into a job.
#include <cstdio>
#include <random>

#include "tests/timers/Timers.h"

namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

TEST_F(TimersTest, handTheJobToSystemdWhereItRuns) {
  const ScopedVariable secret("API_KEY", "secret");
  const ScopedVariable run("VENDRY_RUN", "x");
  auto job = shell("app.x y", "true");
  job["StartCalendarInterval"] = {{"Hour", 9}, {"Minute", 30}};
  const auto file = list("a", job);
  const auto name = R"(app.x\x20y)";
  answerAsManager("case \"$*\" in *enable*) echo no room >&2; exit 1;; esac");
  EXPECT_EQ(launchctl({"bootstrap", domain, file}).errors,
            "Bootstrap failed: 5: Input/output error: systemctl --user enable failed: no room\n");
  EXPECT_TRUE(std::filesystem::is_empty(units));
  answerAsManager();
  ASSERT_TRUE(launchctl({"bootstrap", domain, file}).status.ok());
  EXPECT_THAT(text(calls), EndsWith("daemon-reload\n--user --no-pager --no-ask-password enable --now -- " +
                                    std::string(name) + ".timer\n"));
  const auto service = text(units / (std::string(name) + ".service"));
  EXPECT_THAT(service, AllOf(HasSubstr("\"TAVRO_DESKTOP=" + desktop.string() + "\""), Not(HasSubstr("secret")),
                             Not(HasSubstr("VENDRY"))));
  EXPECT_THAT(text(units / (std::string(name) + ".timer")), HasSubstr("OnCalendar=*-*-* 09:30:00\nPersistent=true\n"));
  const auto again = launchctl({"bootstrap", domain, file});
  EXPECT_EQ(again.errors, "Bootstrap failed: 5: Input/output error\n");
  EXPECT_EQ(again.status.code, 5);
  EXPECT_EQ(launchctl({"list"}).output, "PID\tStatus\tLabel\n-\t0\tapp.x y\n");

  std::filesystem::remove(calls);
  std::filesystem::remove(file);  // its name isn't the label, so only the target tells which job is meant
  EXPECT_EQ(launchctl({"bootout", domain, file}).status.code, 2);
  ASSERT_TRUE(launchctl({"bootout", domain + "/app.x y"}).status.ok());
  const std::string words = "--user --no-pager --no-ask-password ";
  EXPECT_EQ(text(calls), words + "disable --now -- app.x\\x20y.timer\n" + words + "disable -- app.x\\x20y.service\n" +
                             words + "daemon-reload\n")
      << "its run goes on";
  EXPECT_TRUE(std::filesystem::is_empty(units));
  const auto gone = launchctl({"bootout", domain + "/app.x y"});
  EXPECT_EQ(gone.errors, "Boot-out failed: 3: No such process\n");
  EXPECT_EQ(gone.status.code, 3);
  EXPECT_FALSE(FileLock::isHeld(lock)) << "there is no need of a launchd";
}

TEST_F(TimersTest, moveToTheManagerThatAnswers) {
  auto job = shell("x", "true");
  job["StartInterval"] = 600;
  const auto file = list("x", job);
  const auto own = desktop / "launchd/jobs/x.json";
  const auto autostart = user / ".config/autostart/tavro-launchd.desktop";
  answer("echo UnitPath=/home/another/.config/systemd/user");  // it wouldn't read our units
  ASSERT_TRUE(launchctl({"bootstrap", domain, file}).status.ok());
  EXPECT_TRUE(std::filesystem::exists(own));
  EXPECT_THAT(text(autostart), HasSubstr("Exec=env \"TAVRO_DESKTOP=" + desktop.string() + "\" \""));
  answerAsManager();
  ASSERT_TRUE(launchctl({"bootstrap", domain, file}).status.ok());
  EXPECT_FALSE(std::filesystem::exists(own));
  EXPECT_FALSE(std::filesystem::exists(autostart));
  answer("exit 1");
  ASSERT_TRUE(launchctl({"bootstrap", domain, file}).status.ok());
  EXPECT_TRUE(std::filesystem::exists(own));
  EXPECT_TRUE(std::filesystem::is_empty(units));
}

TEST_F(TimersTest, refuseWithTheReason) {
  struct Row {
    Json job;
    const char* reason;
  };
  const auto with = [](const char* key, const Json& value) {
    auto job = shell("x", "true");
    job[key] = value;
    return job;
  };
  const Row rows[] = {
      {with("Label", ""), "Label must have 1 to 255 bytes"},
      {with("ProgramArguments", Json::array()), "ProgramArguments names no program"},
      {with("ProgramArguments", {"sh"}), "isn't an absolute path: sh"},
      {with("StartInterval", 0), "StartInterval isn't from 1 to"},
      {with("StartCalendarInterval", {{"Hour", 24}}), "StartCalendarInterval's Hour isn't from 0 to 23"},
      {with("KeepAlive", true), "KeepAlive, which isn't served here"},
      {{{"ProgramArguments", {"/bin/true"}}}, "it has no Label"},
  };
  for (const auto& row : rows) {
    const auto result = launchctl({"bootstrap", domain, list("x", row.job)});
    EXPECT_EQ(result.status.code, 22) << row.job;
    EXPECT_THAT(result.errors,
                AllOf(testing::StartsWith("Bootstrap failed: 22: Invalid argument: "), HasSubstr(row.reason)));
  }
  std::ofstream(user / "y.plist") << "<plist><dict><key>\xff\x01";
  EXPECT_EQ(launchctl({"bootstrap", domain, user / "y.plist"}).status.code, 22);
  EXPECT_EQ(launchctl({"bootstrap", domain, user / "none.plist"}).status.code, 2);
  EXPECT_EQ(launchctl({"bootstrap", "gui/987654", user / "y.plist"}).status.code, 112);
  EXPECT_EQ(launchctl({"print", domain + "/x"}).status.code, 113);
  EXPECT_EQ(launchctl({"load", "x"}).status.code, 64);
}

TEST_F(TimersTest, runInACleanEnvironmentAndWriteToTheirLog) {
  const ScopedVariable secret("API_KEY", "secret");
  const ScopedVariable run("VENDRY_RUN", "x");
  auto job = shell("x", "env; echo \"pid $$ session $(cut -d' ' -f6 /proc/$$/stat)\" >&2; exit 3");
  job.update({{"RunAtLoad", true}, {"StandardOutPath", user / "out"}, {"StandardErrorPath", user / "err"}});
  job["EnvironmentVariables"] = {{"MINE", "a b"}};
  ASSERT_TRUE(launchctl({"bootstrap", domain, list("x", job)}).status.ok());
  ASSERT_TRUE(eventually([&] { return lines(user / "err") == 1; }));
  int process = 0;
  int session = 1;
  std::sscanf(text(user / "err").c_str(), "pid %d session %d", &process, &session);
  EXPECT_EQ(process, session);
  EXPECT_THAT(text(user / "out"),
              AllOf(HasSubstr("HOME=" + user.path().string() + "\n"), HasSubstr("MINE=a b\n"),
                    HasSubstr("PATH=" + bin.string()), Not(HasSubstr("secret")), Not(HasSubstr("VENDRY"))));
  ASSERT_TRUE(eventually([&] { return launchctl({"list"}).output == "PID\tStatus\tLabel\n-\t3\tx\n"; }));
  EXPECT_THAT(launchctl({"print", domain + "/x"}).output,
              AllOf(HasSubstr("\truns = 1\n"), HasSubstr("\tlast exit code = 3\n")));
}

// Each start is written down by the child in the moment before it becomes the job; the log has the truth.
TEST_F(TimersTest, runOnceForEachTimeHoweverOftenLaunchdIsKilled) {
  constexpr int jobs = 12;
  const auto log = [this](int number) { return user / ("log" + std::to_string(number)).c_str(); };
  const auto told = [this](int number) {
    const auto state = JsonText::parseObject(text(desktop / ("launchd/state/j" + std::to_string(number) + ".json")));
    return state ? state->at("runs").get<std::size_t>() : 0;
  };
  std::vector<std::string> words = {"bootstrap", domain};
  for (int number = 0; number < jobs; ++number) {
    auto job = shell("j" + std::to_string(number), "echo run >>'" + log(number).string() + "'");
    job["StartInterval"] = 1;
    words.push_back(list("j" + std::to_string(number), job));
  }
  std::filesystem::create_directories(desktop / "launchd/jobs");
  std::ofstream(desktop / "launchd/jobs/bad.json") << "\xff{{\"job\":";  // costs nobody else anything
  ASSERT_TRUE(launchctl(words).status.ok());
  std::mt19937 random(20261123);
  for (int kill = 0; kill < 5; ++kill) {
    const int first = static_cast<int>(random() % jobs);
    const auto before = lines(log(first));
    ASSERT_TRUE(eventually([&] { return lines(log(first)) > before; })) << "it fires";
    endLaunchd(SIGKILL);  // amid the starts of the others
    Process::detach({.program = desktopProgram("launchd")});
    ASSERT_TRUE(eventually([&] { return FileLock::isHeld(lock); }));
  }
  const auto stays = launchd();
  const auto second = Process::run({.program = desktopProgram("launchd")});
  EXPECT_TRUE(second.status.ok());
  EXPECT_EQ(launchd(), stays) << "there is one for a desktop";
  endLaunchd(SIGTERM);
  for (int number = 0; number < jobs; ++number) {
    EXPECT_GE(told(number), 2U);
    EXPECT_TRUE(eventually([&] { return lines(log(number)) == told(number); })) << number << ": " << told(number);
  }
}

TEST_F(TimersTest, keepARunKnownThatOutlivesItsLaunchdAndItsLoad) {
  auto job = shell("long", "echo $$ >>'" + (user / "runs").string() + "'; while [ ! -e '" + (user / "go").string() +
                               "' ]; do sleep 0.05; done");
  job["StartInterval"] = 1;
  const auto file = list("long", job);
  auto pulse = shell("pulse", "echo >>'" + (user / "pulse").string() + "'");
  pulse["StartInterval"] = 1;
  ASSERT_TRUE(launchctl({"bootstrap", domain, file, list("pulse", pulse)}).status.ok());
  ASSERT_TRUE(eventually([&] { return lines(user / "runs") == 1; }));
  endLaunchd(SIGKILL);
  ASSERT_TRUE(launchctl({"bootout", domain, file}).status.ok());
  ASSERT_TRUE(launchctl({"bootstrap", domain, file}).status.ok()) << "which starts launchd again";
  const auto before = lines(user / "pulse");
  ASSERT_TRUE(eventually([&] { return lines(user / "pulse") >= before + 3; }));
  EXPECT_EQ(lines(user / "runs"), 1U) << "it runs all the while";
  EXPECT_THAT(launchctl({"list"}).output,
              HasSubstr(std::to_string(std::atoi(text(user / "runs").c_str())) + "\t0\tlong\n"));
  std::ofstream(user / "go") << "";
  EXPECT_TRUE(eventually([&] { return lines(user / "runs") >= 2; })) << "its end is noticed";
}

TEST_F(TimersTest, endWithTheirDesktop) {
  auto job = shell("x", "true");
  job["StartInterval"] = 600;
  ASSERT_TRUE(launchctl({"bootstrap", domain, list("x", job)}).status.ok());
  pid_t process = 0;
  ASSERT_TRUE(eventually([&] { return (process = launchd()) > 0; }));
  std::filesystem::remove_all(desktop);
  EXPECT_TRUE(eventually([&] { return !Process::isAlive(process); }));
}

}  // namespace
