// Guards Reminders as scripts see it: reminders go to disk and come back, a walk over a list hits just those that it
// means, what repeats moves on, and a list may be called anything.
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>

#include "Platform/Text.h"
#include "Platform/linux/stores/CalendarStore.h"
#include "tests/desktop/ScriptedDesk.h"

namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

class RemindersTest : public ScriptedDesk {
 protected:
  RemindersTest() { ::setenv("TZ", "Europe/Berlin", 1); }
  ~RemindersTest() override { ::unsetenv("TZ"); }

  /// reminders/<place>.ics with to-dos of these lines each.
  void todos(const std::string& place, const std::vector<std::string>& all) const {
    std::string text = "BEGIN:VCALENDAR\nVERSION:2.0\nPRODID:x\n";
    for (const auto& lines : all) text += "BEGIN:VTODO\n" + lines + "END:VTODO\n";
    put("reminders/" + place + ".ics", text + "END:VCALENDAR\n");
  }
  /// The lines of these names, of the to-dos in a file.
  static std::string lines(const std::string& text, const std::vector<std::string>& names) {
    std::string found;
    for (const auto& line : Text::split(text.substr(std::min(text.find("BEGIN:VTODO"), text.size())), '\n'))
      for (const auto& name : names)
        if (line.starts_with(name)) found += std::string(Text::trim(line)) + "\n";
    return found;
  }
  /// One of the catalogue's scripts.
  static std::string runScript(const std::string& name, const std::vector<std::string>& arguments) {
    return run(Files::read("TavroCore/personal/scripts/" + name + ".applescript").value_or(""), arguments);
  }
  std::vector<CalendarStore::Reminder> stored(const std::string& list) const {
    return CalendarStore(root).reminders(list);
  }
};

TEST_F(RemindersTest, keepWhatScriptsSayOfThem) {
  const std::vector<Step> steps = {
      {"count of lists", "0"},
      {"set r to make new reminder with properties {name:\"Milk\"}\n{name of container of r, name of lists}",
       "Reminders, Reminders"},
      {"make new list with properties {name:\"Anna\"}\nname of default list", "Reminders"},
      {"tell list \"anna\"\nset r to make new reminder with properties {name:\"Call; \\\"Bo\\\", 😀\", body:\"a\" & "
       "linefeed & \"b\", priority:1, flagged:true, due date:date \"2026-03-29 02:30\", remind me date:date "
       "\"2026-03-14 09:00\"}\nend tell\n{priority, flagged, completed, body} of r",
       "1, true, false, a\nb"},
      {"set r to reminder 1 of list \"Anna\"\n{due date of r as string, remind me date of r as string}",
       "Sunday, March 29, 2026 at 3:30:00 AM, Saturday, March 14, 2026 at 9:00:00 AM"},
      {"set r to reminder 1 of list \"Anna\"\nset {remind me date of r, body of r, flagged of r} to {missing value, "
       "missing value, false}\n{remind me date, body, flagged} of r",
       "missing value, missing value, false"},
      {"set r to reminder 1 of list \"Anna\"\nset allday due date of r to date \"2026-03-14 17:00\"\n"
       "(due date of r) as string",
       "Saturday, March 14, 2026 at 12:00:00 AM"},
      {"set r to reminder 1 of list \"Anna\"\nset due date of r to missing value\ndue date of r", "missing value"},
      {"set completed of reminder 1 of list \"Anna\" to true\nname of (reminders whose completed is true)",
       "Call; \"Bo\", 😀"},
      {"set r to reminder 1 of list \"Anna\"\n((current date) - (completion date of r)) < 100", "true"},
      {"set r to reminder 1 of list \"Anna\"\nset completed of r to false\n{completed, completion date} of r",
       "false, missing value"},
      {"name of reminders of account 1", "Call; \"Bo\", 😀, Milk"},
      {"set r to reminder id (id of reminder 1)\n(r is reminder 1) & (name of r is name of reminder 1)", "true, true"},
      {"delete list \"Anna\"\nname of lists", "Reminders"},
  };
  for (const auto& [script, result] : steps) EXPECT_EQ(tell("Reminders", script), result) << script;
}

TEST_F(RemindersTest, areHitOneByOneInAFileOfMany) {
  todos("home/x",
        {"SUMMARY:a\n", "SUMMARY:b\nX-Odd;A=\"1:2\":x\\,y\n  z\n", "SUMMARY:c\n", "SUMMARY:b\n", "SUMMARY:e\n"});
  // Each without a UID, and two of one name: only its place tells which is which.
  tell("Reminders",
       "set all_ to reminders of list \"home\"\ndelete item 1 of all_\ndelete item 4 of all_\n"
       "set priority of item 3 of all_ to 3\ndelete item 3 of all_\nset priority of item 5 of all_ to 5\n"
       "set name of item 5 of all_ to \"f\"");
  const auto written = get("reminders/home/x.ics");
  EXPECT_EQ(lines(written, {"SUMMARY", "PRIORITY"}), "SUMMARY:b\nSUMMARY:f\nPRIORITY:5\n");
  EXPECT_THAT(written, HasSubstr("BEGIN:VTODO\nSUMMARY:b\nX-Odd;A=\"1:2\":x\\,y\n  z\nEND:VTODO\n"));
}

TEST_F(RemindersTest, areReadOnceAScript) {
  todos("home/a", {"UID:a\nSUMMARY:a\n"});
  todos("home/b", {"UID:b\nSUMMARY:b\n"});
  const auto copy = "do shell script \"cp " + (root / "reminders/home/a.ics").string() + " " +
                    (root / "reminders/home/c.ics").string() + "\"\n";
  EXPECT_EQ(
      tell("Reminders", "set made to make new reminder with properties {name:\"z\"}\ncount of reminders\n" + copy +
                            "set completed of reminder \"b\" to true\ndelete reminder \"a\"\n"
                            "{count of reminders, exists made, name of made}"),
      "2, true, z");
  EXPECT_EQ(tell("Reminders", "count of reminders"), "3");
}

TEST_F(RemindersTest, moveOnWhenTheyRepeat) {
  struct Row {
    std::string before, after;  // of what isn't done yet
    std::size_t count;
  };
  const std::string far = "DTSTART;TZID=Europe/Berlin:20400325T093000\nDUE;TZID=Europe/Berlin:20400326T093000\n";
  const Row rows[] = {
      // The clock stays across its change on the 25th.
      {"DUE:20400324T080000Z\nRRULE:FREQ=WEEKLY\n", "DUE:20400331T080000Z\nRRULE:FREQ=WEEKLY\n", 2},
      {"DUE;TZID=Europe/Berlin:20400324T090000\nRRULE:FREQ=WEEKLY;COUNT=3\n",
       "DUE;TZID=Europe/Berlin:20400331T090000\nRRULE:FREQ=WEEKLY;COUNT=2\n", 2},
      {far + "RRULE:FREQ=MONTHLY;BYMONTHDAY=25\n",
       "DTSTART;TZID=Europe/Berlin:20400425T093000\nDUE;TZID=Europe/Berlin:20400426T093000\n"
       "RRULE:FREQ=MONTHLY;BYMONTHDAY=25\n",
       2},
      {"DUE;VALUE=DATE:20400229\nRRULE:FREQ=YEARLY\n", "DUE;VALUE=DATE:20440229\nRRULE:FREQ=YEARLY\n", 2},
      {"DTSTART;VALUE=DATE:20400101\nRRULE:FREQ=DAILY;COUNT=5\nEXDATE;VALUE=DATE:20400102,20400103\n",
       "DTSTART;VALUE=DATE:20400104\nRRULE:FREQ=DAILY;COUNT=2\n", 2},
      // The last time
      {"DUE;VALUE=DATE:20400229\nRRULE:FREQ=DAILY;COUNT=1\n", "", 1},
      {"DUE;VALUE=DATE:20400229\nRRULE:FREQ=DAILY;UNTIL=20400229\n", "", 1},
      {"SUMMARY:never\nRRULE:FREQ=DAILY\n", "", 1},
      {"DUE;VALUE=DATE:20400229\nRRULE:NONSENSE\n", "", 1},
  };
  for (const auto& row : rows) {
    std::filesystem::remove_all(root / "reminders");
    todos("home/x", {"UID:x\nX-Keep:1\n" + row.before});
    EXPECT_EQ(runScript("reminderComplete", {"home", "", "1"}), "OK updated 1 reminder(s)");
    const auto all = stored("home");
    ASSERT_EQ(all.size(), row.count) << row.before;
    for (const auto& reminder : all) {
      const bool isLast = row.count == 1;
      EXPECT_EQ(reminder.isCompleted, isLast || reminder.place.uid != "x") << row.before;
      const auto written = get("reminders/home/" + reminder.place.file);
      EXPECT_THAT(written, HasSubstr("X-Keep:1"));
      if (!reminder.isCompleted) {
        EXPECT_EQ(lines(written, {"DTSTART", "DUE", "RRULE"}), row.after);
      }
      EXPECT_EQ(lines(written, {"RRULE"}).empty(), reminder.place.uid != "x") << row.before;
      if (reminder.place.uid != "x") {  // the copy is a file of ours
        EXPECT_EQ(Text::replaceAll(Text::replaceAll(written, "\r\n", ""), "\n", "?").find('?'), std::string::npos);
      }
    }
  }
  // What was forgotten for long moves to what isn't past.
  todos("late/x", {"UID:x\nDUE:20200101T080000Z\nRRULE:FREQ=DAILY\n"});
  EXPECT_EQ(tell("Reminders",
                 "set r to reminder 1 of list \"late\"\nset completed of r to true\n"
                 "set d to (due date of r) - (current date)\n{completed of r, d > 0, d ≤ days + hours}"),
            "false, true, true");
}

TEST_F(RemindersTest, bearWhatNobodyWouldWrite) {
  std::string many = "DUE:20400101T000000Z\nRRULE:FREQ=DAILY\n";
  for (int day = 2; day < 20'000; ++day) many += "EXDATE:204001" + std::to_string(10 + day % 20) + "T000000Z\n";
  const std::vector<std::string> odd = {
      "DUE:20200101T000000Z\nRRULE:FREQ=SECONDLY\n",
      "DUE:00010101T000000Z\nRRULE:FREQ=SECONDLY;COUNT=2000000000\n",
      "DUE:99991231T235959Z\nRRULE:FREQ=DAILY\n",
      "DTSTART:99980101T000000Z\nDUE:99991231T235959Z\nRRULE:FREQ=YEARLY\n",
      "DTSTART;VALUE=DATE:20400101\nDUE:20300101T000000Z\nRRULE:FREQ=YEARLY;BYMONTH=2;BYMONTHDAY=30\n",
      "DUE;TZID=Nobody/Knows:20400101T000000\nRRULE:FREQ=WEEKLY;count=7;COUNT=9\nDURATION:P99999D\n",
      "DUE;TZID=\"../../etc/passwd\":20400101T000000\nRRULE:FREQ=WEEKLY\nRRULE:FREQ=DAILY\nRDATE:99990101\n",
      "DUE;VALUE=PERIOD:x\nRRULE:\nRDATE:,,,\nEXDATE;TZID=:/\nPRIORITY:99999999999999999999\nCOMPLETED:never\n",
      many};
  const auto began = std::chrono::steady_clock::now();
  for (const auto& lines : odd) {
    std::filesystem::remove_all(root / "reminders");
    todos("home/x", {"UID:x\n" + lines});
    EXPECT_EQ(runScript("reminderComplete", {"home", "", "1"}), "OK updated 1 reminder(s)") << lines.substr(0, 200);
    const auto all = stored("home");
    ASSERT_FALSE(all.empty());
    EXPECT_TRUE(all.front().isCompleted || all.back().isCompleted);
    EXPECT_NE(tell("Reminders", "set due date of reminder 1 to date \"2026-03-14 09:00\"\ndue date of reminder 1"), "");
    EXPECT_EQ(stored("home").size(), all.size());
  }
  EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(60));  // with sanitizers
}

TEST_F(RemindersTest, namesMayBeAnything) {
  struct Row {
    std::string name, shown;
  };
  const std::string longName = Text::replaceAll(std::string(300, 'x'), "x", "ü");
  const std::vector<Row> rows = {
      {"\"a/b\"", "a/b"},
      {"\"..\"", ".."},
      {"\"../../escape\"", "../../escape"},
      {"\".hidden\"", ".hidden"},
      {"\"" + longName + "\"", longName},
      {"\"a\" & (character id 0) & \"b\"", "a b"},
      {"\"  a\" & linefeed & \"b \"", "a b"},
      {"\"con*?<>|\\\\\"", "con*?<>|\\"},
  };
  for (const auto& [name, shown] : rows) {
    std::filesystem::remove_all(root / "reminders");
    EXPECT_EQ(tell("Reminders", "name of (make new list with properties {name:" + name + "})"), shown);
    tell("Reminders", "tell list 1 to make new reminder with properties {name:" + name + ", body:" + name + "}");
    EXPECT_EQ(tell("Reminders", "name of lists"), shown);
    const auto lists = CalendarStore(root).lists();
    ASSERT_EQ(lists.size(), 1u) << shown;
    ASSERT_EQ(stored(lists[0].id).size(), 1u) << shown;
    EXPECT_EQ(Files::list(root),
              (std::vector<std::string>{".reminders.lock", ".running.lock", "reminders", "running.json"}));
    EXPECT_EQ(tell("Reminders", "set name of list 1 to \"new\" & " + name +
                                    "\nmake new list with properties {name:" + name + "}\ncount of lists"),
              "2");
  }
  EXPECT_THAT(tell("Reminders", "make new list with properties {name:\" \"}"), HasSubstr("(-10006)"));
}

TEST_F(RemindersTest, refuseWhatCannotBe) {
  todos("home/x", {"UID:x\nSUMMARY:x\n"});
  const auto before = get("reminders/home/x.ics");
  const auto file = (root / "reminders/home/x.ics").string();
  const std::vector<Step> steps = {
      {"name of list \"nowhere\"", "-1728"},
      {"set r to reminder 1\ndelete r\nset name of r to \"y\"", "-1728"},
      {"set l to list 1\ndelete l\nname of reminders of l", "-1728"},
      {"set priority of reminder 1 to 10", "-10006"},
      {"set id of reminder 1 to \"y\"", "-10003"},
      {"set due date of reminder 1 to \"soon\"", "-1700"},
      {"make new reminder with properties {colour:\"red\"}", "-10006"},
      {"make new account", "-10000"},
      {"delete account 1", "-10003"},
      {"set r to reminder 1\nname of r\ndo shell script \"echo >> " + file + "\"\ndelete r", "-10000"},
      {"set r to reminder 1\nname of r\ndo shell script \"rm " + file + "\"\nset name of r to \"y\"", "-10000"},
  };
  for (const auto& [script, number] : steps) {
    put("reminders/home/x.ics", before);
    EXPECT_THAT(tell("Reminders", script), MatchesRegex("Reminders got an error: .*\\(" + number + "\\)")) << script;
  }
}

TEST_F(RemindersTest, sayWhatCannotBeWritten) {
  todos("home/x", {"UID:x\nSUMMARY:x\n"});
  const auto before = get("reminders/home/x.ics");
  const auto deniedInChild = [&](const std::string& script) {
    const pid_t child = ::fork();
    if (child == 0) {
      if (::getuid() == 0 && ::setuid(65534) != 0) ::_exit(2);  // root may write anywhere
      const auto said = tell("Reminders", script);
      ::_exit(said.find("Permission denied (-10000)") != std::string::npos ? 0 : 1);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return status;
  };
  std::filesystem::permissions(directory, std::filesystem::perms(0755));
  std::filesystem::permissions(root, std::filesystem::perms(0777));
  Files::setMode(root / "reminders", 0555);
  Files::setMode(root / "reminders/home", 0777);
  Files::setMode(root / "reminders/home/x.ics", 0444);
  EXPECT_EQ(deniedInChild("set name of reminder 1 to \"y\""), 0);
  EXPECT_EQ(deniedInChild("delete reminder 1"), 0);
  EXPECT_EQ(deniedInChild("make new list with properties {name:\"new\"}"), 0);
  EXPECT_EQ(deniedInChild("delete list 1"), 0);
  Files::setMode(root / "reminders/home", 0555);
  EXPECT_EQ(deniedInChild("make new reminder with properties {name:\"y\"}"), 0);
  EXPECT_EQ(deniedInChild("set name of list 1 to \"y\""), 0);
  EXPECT_EQ(get("reminders/home/x.ics"), before);
  EXPECT_EQ(Files::list(root / "reminders/home"), std::vector<std::string>{"x.ics"});
}

}  // namespace
