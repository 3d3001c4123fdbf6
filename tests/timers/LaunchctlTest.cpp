// Guards the two programs as their callers meet them: what is loaded runs by itself, once at a time, whatever is
// killed; what is wrong is refused with its reason; and nothing of an agent's environment gets into a job.
#include "tests/timers/Timers.h"

namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

const Json everySecond = {{"StartInterval", 1}};

TEST_F(TimersTest, handTheJobToSystemdWhereItRuns) {
  const Environment::Setting secret("API_KEY", "secret");
  const Environment::Setting run("VENDRY_RUN", "x");
  const auto file = list("a", shell("app.x y", "true", {{"StartCalendarInterval", {{"Hour", 9}, {"Minute", 30}}}}));
  const std::string name = R"(app.x\x20y)";
  answerAsManager("case \"$*\" in *enable*) echo no room >&2; exit 1;; esac");
  EXPECT_EQ(launchctl({"bootstrap", domain, file}).errors,
            "Bootstrap failed: 5: Input/output error: systemctl --user enable failed: no room\n");
  EXPECT_TRUE(std::filesystem::is_empty(units));
  answerAsManager();
  ASSERT_TRUE(launchctl({"bootstrap", domain, file}).status.ok());
  EXPECT_THAT(text(calls),
              EndsWith("daemon-reload\n--user --no-pager --no-ask-password enable --now -- " + name + ".timer\n"));
  const auto service = text(units / (name + ".service"));
  EXPECT_THAT(service, AllOf(HasSubstr("\"TAVRO_DESKTOP=" + desktop.string() + "\""), Not(HasSubstr("secret")),
                             Not(HasSubstr("VENDRY"))));
  EXPECT_THAT(text(units / (name + ".timer")), HasSubstr("OnCalendar=*-*-* 09:30:00\nPersistent=true\n"));
  EXPECT_EQ(launchctl({"bootstrap", domain, file}).errors, "Bootstrap failed: 5: Input/output error\n");
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
  EXPECT_EQ(launchctl({"bootout", domain + "/app.x y"}).errors, "Boot-out failed: 3: No such process\n");
  EXPECT_FALSE(FileLock::isHeld(lock)) << "there is no need of a launchd";
}

TEST_F(TimersTest, moveToTheManagerThatAnswersAndEndWithTheirDesktop) {
  const auto file = list("x", shell("x", "true", {{"StartInterval", 600}}));
  const auto own = desktop / "launchd/jobs/x.json";
  const auto autostart = user / ".config/autostart/tavro-launchd.desktop";
  answer("echo UnitPath=/home/another/.config/systemd/user");  // it wouldn't read our units
  ASSERT_TRUE(launchctl({"bootstrap", domain, file}).status.ok());
  EXPECT_TRUE(std::filesystem::exists(own));
  EXPECT_THAT(text(autostart), HasSubstr("Exec=env \"TAVRO_DESKTOP=" + desktop.string() + "\" \""));
  answerAsManager();
  ASSERT_TRUE(launchctl({"bootstrap", domain, file}).status.ok());
  EXPECT_FALSE(std::filesystem::exists(own) || std::filesystem::exists(autostart));
  {
    const FileLock anothers(desktop / "launchd/changes.lock");
    EXPECT_THAT(launchctl({"bootout", domain, file}).errors, HasSubstr("another launchctl has been changing jobs"));
  }
  answer("exit 1");
  ASSERT_TRUE(launchctl({"bootstrap", domain, file}).status.ok());
  EXPECT_TRUE(std::filesystem::exists(own));
  EXPECT_TRUE(std::filesystem::is_empty(units));
  endLaunchd(SIGKILL);
  EXPECT_TRUE(launchctl({"print", domain + "/x"}).status.ok());
  pid_t process = 0;
  ASSERT_TRUE(eventually([&] { return (process = launchd()) > 0; })) << "what is told to be loaded is timed";
  std::ofstream(file) << "damaged";
  EXPECT_TRUE(launchctl({"bootout", domain, file}).status.ok()) << "the list's name tells the job";
  std::filesystem::remove_all(desktop);
  EXPECT_TRUE(eventually([&] { return !Process::isAlive(process); }));
}

TEST_F(TimersTest, refuseWithTheReason) {
  const std::tuple<const char*, Json, const char*> rows[] = {
      {"Label", "", "Label must have 1 to 255 bytes"},
      {"Label", nullptr, "it has no Label"},
      {"ProgramArguments", Json::array(), "ProgramArguments names no program"},
      {"ProgramArguments", {"sh"}, "isn't an absolute path: sh"},
      {"StartInterval", 0, "StartInterval isn't from 1 to"},
      {"StartCalendarInterval", {{"Hour", 24}}, "StartCalendarInterval's Hour isn't from 0 to 23"},
      {"KeepAlive", true, "KeepAlive, which isn't served here"},
  };
  for (const auto& [key, value, reason] : rows) {
    auto job = shell("x", "true");
    job[key] = value;
    if (value.is_null()) job.erase(key);
    const auto result = launchctl({"bootstrap", domain, list("x", job)});
    EXPECT_EQ(result.status.code, 22) << job;
    EXPECT_THAT(result.errors, HasSubstr(reason));
  }
  std::ofstream(user / "y.plist") << "<plist><dict><key>\xff\x01";
  EXPECT_EQ(launchctl({"bootstrap", domain, user / "y.plist"}).status.code, 22);
  EXPECT_EQ(launchctl({"bootstrap", domain, user / "none.plist"}).status.code, 2);
  EXPECT_EQ(launchctl({"bootstrap", "gui/987654", user / "y.plist"}).status.code, 112);
  EXPECT_EQ(launchctl({"print", domain + "/x"}).status.code, 113);
  EXPECT_EQ(launchctl({"load", "x"}).status.code, 64);
}

TEST_F(TimersTest, runInACleanEnvironmentAndWriteToTheirLog) {
  const Environment::Setting secret("API_KEY", "secret");
  const Environment::Setting run("VENDRY_RUN", "x");
  auto job = shell("x", "env; [ $(cut -d' ' -f6 /proc/$$/stat) = $$ ] && echo own session >&2; exit 3");
  job.update({{"RunAtLoad", true}, {"StandardOutPath", user / "out"}, {"StandardErrorPath", user / "err"}});
  job["EnvironmentVariables"] = {{"MINE", "a b"}};
  ASSERT_TRUE(launchctl({"bootstrap", domain, list("x", job)}).status.ok());
  ASSERT_TRUE(eventually([&] { return launchctl({"list"}).output == "PID\tStatus\tLabel\n-\t3\tx\n"; }));
  EXPECT_EQ(text(user / "err"), "own session\n");
  EXPECT_THAT(text(user / "out"),
              AllOf(HasSubstr("HOME=" + user.path().string() + "\n"), HasSubstr("MINE=a b\n"),
                    HasSubstr("PATH=" + bin.string()), Not(HasSubstr("secret")), Not(HasSubstr("VENDRY"))));
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
    const auto name = "j" + std::to_string(number);
    words.push_back(list(name, shell(name, "echo run >>log" + std::to_string(number), everySecond)));
  }
  std::filesystem::create_directories(desktop / "launchd/jobs");
  std::ofstream(desktop / "launchd/jobs/bad.json") << "\xff{{\"job\":";  // costs nobody else anything
  ASSERT_TRUE(launchctl(words).status.ok());
  for (int kill = 0; kill < 5; ++kill) {
    const auto before = lines(log(kill));
    ASSERT_TRUE(eventually([&] { return lines(log(kill)) > before; })) << "it fires";
    endLaunchd(SIGKILL);  // amid the starts of the others
    Process::detach({.program = desktopProgram("launchd")});
    ASSERT_TRUE(eventually([&] { return FileLock::isHeld(lock); }));
  }
  EXPECT_TRUE(Process::run({.program = desktopProgram("launchd")}).status.ok()) << "there is one for a desktop";
  endLaunchd(SIGTERM);
  for (int number = 0; number < jobs; ++number) {
    EXPECT_GE(told(number), 2U);
    EXPECT_TRUE(eventually([&] { return lines(log(number)) == told(number); })) << number << ": " << told(number);
  }
}

TEST_F(TimersTest, keepARunKnownThatOutlivesItsLaunchdAndItsLoad) {
  const auto file = list("long", shell("long", "echo $$ >>runs; while [ ! -e go ]; do sleep 0.05; done", everySecond));
  const auto pulse = list("pulse", shell("pulse", "echo >>pulse", everySecond));
  ASSERT_TRUE(launchctl({"bootstrap", domain, file, pulse}).status.ok());
  ASSERT_TRUE(eventually([&] { return lines(user / "runs") == 1; }));
  endLaunchd(SIGKILL);
  ASSERT_TRUE(launchctl({"bootout", domain, file}).status.ok());
  ASSERT_TRUE(launchctl({"bootstrap", domain, file}).status.ok()) << "which starts launchd again";
  const auto before = lines(user / "pulse");
  ASSERT_TRUE(eventually([&] { return lines(user / "pulse") >= before + 3; }));
  EXPECT_EQ(lines(user / "runs"), 1U) << "it runs all the while";
  EXPECT_THAT(launchctl({"list"}).output, HasSubstr(std::to_string(std::stoi(text(user / "runs"))) + "\t0\tlong\n"));
  std::ofstream(user / "go") << "";
  EXPECT_TRUE(eventually([&] { return lines(user / "runs") >= 2; })) << "its end is noticed";
}

}  // namespace
