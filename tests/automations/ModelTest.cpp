// The records of automations: what a schedule says and when it is due, what lists show of a loop and of its last run,
// and what a draft leaves in a record. The records are also edited by hand, so any value reads as something.
#include <gmock/gmock.h>

#include <limits>

#include "Platform/Environment.h"
#include "Platform/Json.h"
#include "TavroCore/automations/Automation.h"
#include "TavroCore/automations/AutomationDraft.h"
#include "TavroCore/automations/ShellText.h"
#include "TavroCore/automations/VendryEngine.h"
#include "tests/harness/Home.h"

namespace {

using Interval = Schedule::Interval;
using Calendar = Schedule::Calendar;
using Hours = Schedule::Hours;

constexpr long long most = std::numeric_limits<long long>::max(), least = std::numeric_limits<long long>::min();

TEST(Schedule, isShownInWords) {
  std::string shown;
  for (const long long minutes : {15, 90, 120, 1'440, 2'880, 0, -60})
    shown += Schedule{Interval{minutes}}.display() + "; ";
  EXPECT_EQ(shown, "every 15m; every 90m; every 2h; daily; every 2d; every 0d; every -1h; ");
}

TEST(Schedule, readsAnyValueOfARecord) {
  const std::vector<std::pair<const char*, Schedule>> records = {
      {"null", {}},
      {R"({"type": "calendar", "hour": "7", "minute": 5.0})", {Calendar{9, 5}}},
      {R"({"type": "hours", "hours": [9, true]})", {Hours{{}, 0}}},
      {R"({"type": "hours", "hours": [9, 13], "minute": 30})", {Hours{{9, 13}, 30}}},
      {R"({"type": 3, "everyMinutes": 90})", {Interval{90}}},
      {R"({"everyMinutes": 9223372036854775808})", {Interval{360}}}};
  for (const auto& [text, schedule] : records) EXPECT_EQ(scheduleFromJson(Json::parse(text)), schedule) << text;
  for (const Schedule& each : {Schedule{Interval{least}}, Schedule{Calendar{7, 1}}, Schedule{Hours{{1, 1}, 2}}})
    EXPECT_EQ(scheduleFromJson(toJson(each)), each) << toJson(each);
}

/// Times of 2026 in a zone that sets its clocks forward on March 29 (02:00 to 03:00) and back on October 25.
struct ScheduleInBerlin : testing::Test {
  const Environment::Setting zone{"TZ", "Europe/Berlin"};
  static Dates::Instant at(int month, int day, int hour, int minute) {
    return Dates::fromLocal({.year = 2026, .month = month, .day = day, .hour = hour, .minute = minute});
  }
  static std::string next(const Schedule& schedule, Dates::Instant now) {
    const auto due = schedule.next(at(3, 1, 0, 0), now);
    return due ? Dates::localText(*due, Dates::Unit::minute).substr(5) : "never";
  }
};

TEST_F(ScheduleInBerlin, isDueAtTheWallClockAlsoWhenClocksChange) {
  const Schedule nine{Calendar{9, 0}}, gap{Calendar{2, 30}}, hours{Hours{{13, 99, 9, 13, -1}, 30}};
  EXPECT_EQ(next(nine, at(3, 28, 9, 0)), "03-29 09:00");
  EXPECT_EQ(next(gap, at(3, 28, 3, 0)), "03-29 03:30");
  EXPECT_EQ(next(gap, at(10, 25, 2, 30)), "10-26 02:30");
  EXPECT_EQ(next(hours, at(3, 28, 9, 30)), "03-28 13:30");
  EXPECT_EQ(next(hours, at(12, 31, 13, 30)), "01-01 09:30");
  EXPECT_EQ(next({Interval{90}}, at(3, 1, 1, 30)), "03-01 03:00");
  EXPECT_EQ(next({Interval{90}}, at(2, 1, 0, 0)), "03-01 01:30");  // a clock that was set back
  EXPECT_EQ(next({Interval{least}}, at(3, 1, 0, 0)), "03-01 00:01");
  for (const Schedule& never : {Schedule{Calendar{24, 0}}, Schedule{Calendar{9, 60}}, Schedule{Hours{{9}, -1}},
                                Schedule{Hours{}}, Schedule{Calendar{least, most}}, Schedule{Interval{most}}})
    EXPECT_EQ(next(never, at(3, 28, 9, 0)), "never") << never.display();
}

TEST(Automation, tellsAStopFromAFailureForAgentsOnly) {
  const auto outcome = [](Automation::Kind kind, int exit) {
    return Automation{.kind = kind, .lastExit = exit}.lastOutcome();
  };
  EXPECT_EQ(Automation{}.lastRunOK(), std::nullopt);
  EXPECT_EQ(outcome(Automation::Kind::agent, 124), RunOutcome::failed);
  for (const int exit : {143, 137}) {
    EXPECT_EQ(outcome(Automation::Kind::agent, exit), RunOutcome::stopped) << exit;
    EXPECT_EQ(outcome(Automation::Kind::script, exit), RunOutcome::failed) << exit;
  }
}

TEST(Automation, showsItsWorkInALineAndAtMoreLength) {
  using Kind = Automation::Kind;
  const auto shown = [](const Automation& loop) { return loop.workSummary() + " | " + loop.previewText(); };
  EXPECT_EQ(shown({.prompt = "# Do\n- **it**"}), "# Do - **it** | Do\n• it");
  EXPECT_EQ(shown({.kind = Kind::script, .command = "a\n# run c"}), "a\n# run c | a\n# run c");
  EXPECT_EQ(shown({.kind = Kind::tool, .command = "'/x y/tavro' run a b=' run '"}), "a b=' run ' | a b=' run '");
  EXPECT_EQ(shown({.kind = Kind::tool, .command = "date"}), "date | date");
}

TEST(Automation, makesPlainTextOfMarkdown) {
  const std::vector<std::tuple<const char*, long long, const char*>> excerpts = {
      {"## Title\n\n\n- item **bold** `code`", 600, "Title\n\n• item bold code"},
      {" \n\n>#> #quoted \n \t\n\n+ a\n* b\n-c\n", 600, "#quoted\n\n• a\n• b\n-c"},
      {"a\n\n##\n#\nb", 600, "a\n\n\n\nb"},  // a line of marks alone stays as an empty one
      {"one two", 4, "one..."},
      {"e\u0301e\u0301e\u0301", 3, "e\u0301e\u0301e\u0301"},
      {"e\u0301e\u0301e\u0301", 2, "e\u0301e\u0301..."},
      {"x", least, "..."}};
  for (const auto& [text, most_, plain] : excerpts) EXPECT_EQ(Automation::cleanExcerpt(text, most_), plain) << text;
}

struct AutomationDrafts : HomeTest {
  const Dates::FixedClock clock{Dates::Instant(std::chrono::microseconds(1'500'000))};
  static Json record(const std::string& text) { return Json::parse(text); }
};

TEST_F(AutomationDrafts, makeTheRecordOfANewLoop) {
  const AutomationDraft agent{.name = "news",
                              .work = AutomationDraft::Agent{"Read", "opus", "claude", "", false, 1},
                              .schedule = {Interval{90}},
                              .cwd = "~/work"};
  EXPECT_EQ(agent.addObject(), record(R"({"name": "news", "schedule": {"type": "interval", "everyMinutes": 90},
      "createdAt": 1.5, "model": "opus", "client": "claude", "timeoutSeconds": 0, "visible": false, "screen": 1,
      "cwd": ")" + user.string() + R"(/work"})"));
  const AutomationDraft tool{.name = "t",
                             .work = AutomationDraft::Tool{"mail.send", " to='a b'\t", true},
                             .schedule = {Hours{{9}, 5}},
                             .cwd = ""};
  Json expected = record(R"({"name": "t", "schedule": {"type": "hours", "hours": [9], "minute": 5}, "createdAt": 1.5,
      "kind": "script", "timeoutSeconds": 0, "notifyOnFail": true})");
  expected["command"] = ShellText::quoted(VendryEngine::tavroBinaryForLaunchd().string()) + " run mail.send to='a b'";
  EXPECT_EQ(tool.addObject(), expected);
}

TEST_F(AutomationDrafts, changeOnlyWhatTheySpeakOf) {
  const Json old = record(R"({"name": "old", "createdAt": 7, "prompt": "p", "enabled": false, "cwd": "/old",
      "effort": "high", "screen": 2, "model": "m", "mine": [1]})");
  const AutomationDraft agent{.work = AutomationDraft::Agent{"", "opus", "codex", std::nullopt, true, {}}};
  EXPECT_EQ(agent.applied(old), record(R"({"name": "old", "createdAt": 7, "cwd": "/old", "screen": 2, "model": "opus",
      "client": "codex", "visible": true, "mine": [1], "schedule": {"type": "interval", "everyMinutes": 360}})"));
  const AutomationDraft script{
      .work = AutomationDraft::Script{"date", true}, .schedule = {Calendar{7, 1}}, .cwd = "/new"};
  EXPECT_EQ(script.applied(old), record(R"({"name": "old", "createdAt": 7, "cwd": "/new", "effort": "high", "screen": 2,
      "model": "m", "mine": [1], "command": "date", "notifyOnFail": true,
      "schedule": {"type": "calendar", "hour": 7, "minute": 1}})"));
}

}  // namespace
