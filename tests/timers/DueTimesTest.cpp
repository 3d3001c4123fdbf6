// Guards when a job is due: both changes of summer time, and clocks that jump, stop and start anew. That times are read
// right is shown against systemd (SystemdUnitsTest.cpp).
#include <gtest/gtest.h>

#include "Platform/linux/timers/DueTimes.h"
#include "tests/platform/TemporaryDirectory.h"

namespace {

using namespace std::chrono_literals;
using Dates::Instant;

/// "2026-03-29 01:59", local.
Instant at(const std::string& text) {
  Dates::Local local;
  std::sscanf(text.c_str(), "%d-%d-%d %d:%d", &local.year, &local.month, &local.day, &local.hour, &local.minute);
  return Dates::fromLocal(local);
}

TEST(DueTimes, bearsTheChangesOfSummerTime) {
  const Environment::Setting zone("TZ", "Europe/Berlin");
  const CalendarTime halfPastTwo{.hour = 2, .minute = 30};
  const CalendarTime halfPast{.minute = 30};
  EXPECT_EQ(DueTimes::next({halfPastTwo}, at("2026-03-28 12:00")), at("2026-03-29 03:30")) << "there is no 2:30";
  EXPECT_EQ(DueTimes::next({halfPast}, at("2026-03-29 01:30")), at("2026-03-29 03:30"));
  EXPECT_EQ(DueTimes::next({halfPastTwo}, at("2026-10-25 02:30")), at("2026-10-26 02:30")) << "the first of two counts";
  EXPECT_EQ(DueTimes::next({halfPast}, at("2026-10-25 02:30")), at("2026-10-25 02:30") + 1h) << "both count";
}

/// A launchd on invented clocks.
struct Simulation {
  LaunchJob job;
  Moment now = {at("2026-11-23 08:00"), 1h, "first"};
  Moment handled = now;
  std::string runs = {};

  void look() {
    const auto verdict = DueTimes::judge(job, handled, now);
    handled = verdict.isDue ? now : verdict.handled;
    if (verdict.isDue) runs += Dates::localText(now.wall, Dates::Unit::minute).substr(8) + " ";
  }
  void move(std::chrono::microseconds by) { now.wall += by, now.boot += by; }
  void pass(std::chrono::microseconds time) {
    for (const auto end = now.boot + time; now.boot < end; look()) {
      const auto verdict = DueTimes::judge(job, handled, now);
      auto step = end - now.boot;
      if (verdict.wall) step = std::min(step, *verdict.wall - now.wall);
      if (verdict.boot) step = std::min(step, *verdict.boot - now.boot);
      move(step);
    }
  }
  void sleep(std::chrono::microseconds time) { move(time), look(); }
  void run(std::chrono::microseconds time) { move(time), handled = DueTimes::afterEnd(job, handled, now); }
  void setClock(std::chrono::microseconds by) { now.wall += by, look(); }
  void restart(std::chrono::microseconds off) { now = {now.wall + off, 10s, now.bootId + "+"}, look(); }
};

TEST(DueTimes, bearsWhateverHappensToTheClocks) {
  const Environment::Setting zone("TZ", "UTC");
  const LaunchJob daily{.times = {{.hour = 9, .minute = 0}}};
  const LaunchJob hourly{.times = {{.minute = 0}}};
  const LaunchJob everyTwoHours{.interval = 2h};
  struct Row {
    const char* what;
    LaunchJob job;
    void (*happens)(Simulation&);
    const char* runs;
  };
  const Row rows[] = {
      {"three days asleep", daily, [](auto& s) { s.sleep(76h), s.pass(22h); }, "26 12:00 27 09:00 "},
      {"switched off over two times", daily, [](auto& s) { s.restart(48h), s.pass(2h); }, "25 08:00 25 09:00 "},
      {"set back by two hours", daily, [](auto& s) { s.pass(2h), s.setClock(-2h), s.pass(26h); }, "23 09:00 24 09:00 "},
      {"set back by two hours, restarted", daily,
       [](auto& s) { s.pass(90min), s.setClock(-2h), s.restart(1min), s.pass(26h); }, "23 09:00 24 09:00 "},
      {"set back by a day and two hours, in two steps", daily,
       [](auto& s) { s.pass(2h), s.setClock(-26h), s.pass(2h), s.setClock(-2h), s.pass(4h); }, "23 09:00 22 09:00 "},
      {"set forward by a year", daily, [](auto& s) { s.setClock(365 * 24h), s.pass(2h); }, "23 08:00 23 09:00 "},
      {"a clock of 1970 that is set later", daily,
       [](auto& s) { s.pass(2h), s.restart(-400000h), s.setClock(400002h), s.pass(22h); },
       "23 09:00 23 12:00 24 09:00 "},
      {"every hour, set back", hourly, [](auto& s) { s.pass(2h), s.setClock(-90min), s.pass(1h); },
       "23 09:00 23 10:00 23 09:00 "},
      {"interval, clock set", everyTwoHours, [](auto& s) { s.setClock(-9h), s.pass(3h), s.setClock(72h), s.pass(2h); },
       "23 01:00 26 03:00 "},
      {"interval, asleep", everyTwoHours, [](auto& s) { s.sleep(9h), s.pass(2h); }, "23 17:00 23 19:00 "},
      {"interval, switched off for long", everyTwoHours, [](auto& s) { s.restart(99h), s.pass(2h); },
       "27 11:00 27 13:00 "},
      {"a run over a time", daily, [](auto& s) { s.run(5h), s.pass(22h); }, "24 09:00 "},
      {"a run over two intervals", everyTwoHours, [](auto& s) { s.run(5h), s.pass(2h); }, "23 14:00 "},
      {"interval, started with a clock far back", everyTwoHours, [](auto& s) { s.restart(-9999h), s.pass(3h); },
       "02 19:00 "},
  };
  for (const auto& row : rows) {
    Simulation simulation{row.job};
    row.happens(simulation);
    EXPECT_EQ(simulation.runs, row.runs) << row.what;
  }
}

}  // namespace
