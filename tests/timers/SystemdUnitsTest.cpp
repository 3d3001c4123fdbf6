// Guards what systemd is told: it takes every unit without a word, reads the times as we do, and expands nothing. Its
// own programs are asked; they are missing only where the tests' packages aren't installed, which is a failure.
#include <gtest/gtest.h>

#include "Platform/Files.h"
#include "Platform/Json.h"
#include "Platform/Process.h"
#include "Platform/Text.h"
#include "Platform/linux/timers/DueTimes.h"
#include "Platform/linux/timers/SystemdUnits.h"
#include "tests/platform/TemporaryDirectory.h"

namespace {

Process::Result analyze(std::vector<std::string> words, const TemporaryDirectory& directory) {
  return Process::run({.program = "systemd-analyze",
                       .arguments = std::move(words),
                       .input = "",
                       .environment = {{"XDG_RUNTIME_DIR", directory.path()}, {"HOME", directory.path()}}});
}

LaunchJob oddJob() {
  return {.label = "app.tavro.vendry.Über den %h\\",
          .arguments = {"/bin/echo", "a %h $HOME ${HOME} \\x41 \"q\" 'r'", ";", "$$", "", "two\nlines\t", "Ü"},
          .interval = std::chrono::seconds(60),
          .times = {{.hour = 9, .minute = 30},
                    {.month = 2, .day = 3, .weekday = 7, .hour = 0, .minute = 5},
                    {.weekday = 6},
                    {}},
          .output = "/tmp/a b %h \"x' $HOME.log",
          .directory = "/tmp",
          .environment = {{"ODD", "a %h $HOME \"q\" \\ 'r'  \nb"}, {"EMPTY", ""}}};
}

TEST(SystemdUnits, areTakenWithoutAWord) {
  auto inShell = oddJob();
  inShell.arguments.front() = "/tmp/a 'b\"\\/c";
  inShell.runAtLoad = true;
  const TemporaryDirectory directory;
  const auto dollar = directory / "$HOME";
  std::filesystem::create_symlink("/bin/true", dollar);
  for (const auto& job : {oddJob(), inShell, LaunchJob{.label = "plain", .arguments = {dollar}, .times = {{}}}}) {
    const auto stem = directory.path() / JobName::escaped(job.label);
    Files::replace(stem.string() + ".service", SystemdUnits::service(job), 0644);
    Files::replace(stem.string() + ".timer", SystemdUnits::timer(job), 0644);
    const auto verdict = analyze({"--user", "verify", stem.string() + ".service", stem.string() + ".timer"}, directory);
    EXPECT_EQ(verdict.output + verdict.errors, "") << "doubts are told, with status 0";
    EXPECT_TRUE(verdict.status.ok());
    ASSERT_TRUE(SystemdUnits::jobOf(SystemdUnits::service(job)));
    EXPECT_EQ(SystemdUnits::jobOf(SystemdUnits::service(job))->propertyList(), job.propertyList());
  }
}

TEST(SystemdUnits, passWordsOnAsTheyAre) {
  const auto text = SystemdUnits::service(oddJob());
  for (const char* line :
       {"ExecStart=\"/bin/echo\" \"a %%h $$HOME $${HOME} \\\\x41 \\\"q\\\" 'r'\" \";\" \"$$$$\" \"\" "
        "\"two\\x0alines\\x09\" \"Ü\"\n",
        "Environment=\"ODD=a %%h $HOME \\\"q\\\" \\\\ 'r'  \\x0ab\"\n",
        "StandardOutput=append:/tmp/a b %%h \"x' $HOME.log\n", "KillMode=process\n"})
    EXPECT_NE(text.find(std::string("\n") + line), std::string::npos) << line << text;
  auto job = oddJob();
  job.errors = "/tmp/a\nb";
  EXPECT_THROW(SystemdUnits::service(job), Error);
}

TEST(SystemdUnits, areNamedAsSystemdEscapesNames) {
  for (const std::string label : {"app.tavro.vendry.Über den-tag_1", ".x/y:z@w\\q", "日本 7"}) {
    const auto escaped = Process::run({.program = "systemd-escape", .arguments = {"--", label}});
    EXPECT_EQ(JobName::escaped(label) + "\n", escaped.output);
  }
  const std::string longLabel(255, '-');
  EXPECT_LE(JobName::escaped(longLabel).size(), 200U);
  EXPECT_NE(JobName::escaped(longLabel), JobName::escaped(longLabel + "-"));
}

/// The first time that systemd finds for the timer's lines.
std::string nextBySystemd(const LaunchJob& job, const std::string& after, const TemporaryDirectory& directory) {
  std::string first = "never";
  for (const auto& line : Text::split(SystemdUnits::timer(job), '\n')) {
    if (!line.starts_with("OnCalendar=")) continue;
    const auto told = analyze({"calendar", "--base-time=" + after, line.substr(11)}, directory);
    EXPECT_TRUE(told.status.ok()) << line << told.errors;
    const auto place = told.output.find("Next elapse: ");
    if (place == std::string::npos || told.output.compare(place + 13, 5, "never") == 0) continue;
    first = std::min(first, told.output.substr(place + 17, 16));  // behind the weekday; digits come before "never"
  }
  return first;
}

TEST(SystemdUnits, nameTheTimesThatLaunchdWouldFind) {
  const TemporaryDirectory directory;
  const Environment::Setting zone("TZ", "UTC");
  const std::vector<std::vector<CalendarTime>> schedules = {
      {{.hour = 9, .minute = 0}, {.hour = 18, .minute = 5}},
      {{.day = 13, .weekday = 5, .hour = 7, .minute = 0}},
      {{.weekday = 0, .minute = 1}},
      {{.weekday = 5, .hour = 23}, {.weekday = 7, .hour = 23}},
      {{.month = 4, .day = 31}},
      {{.month = 2, .day = 29, .hour = 0, .minute = 0}},
      {{.month = 12, .weekday = 3, .minute = 59}},
      {{}},
  };
  for (const auto& times : schedules) {
    const LaunchJob job{.label = "x", .arguments = {"/bin/true"}, .times = times};
    for (const std::string after : {"2026-11-23 09:30", "2027-12-31 23:59", "2028-02-13 07:00", "2096-03-01 00:00"}) {
      const auto base = *Dates::parseISO8601(after.substr(0, 10) + "T" + after.substr(11) + ":00Z");
      const auto next = DueTimes::next(times, base);
      EXPECT_EQ(next ? Dates::localText(*next, Dates::Unit::minute) : "never", nextBySystemd(job, after, directory))
          << SystemdUnits::timer(job) << after;
    }
  }
}

}  // namespace
