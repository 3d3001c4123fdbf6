// Guards the reminders as an agent gets and changes them: every list is seen, a change is to the one reminder that is
// meant or to none, alarms move with the due date, and nothing else of a file does.
#include <fmt/format.h>

#include "Platform/Bundle.h"
#include "Platform/Process.h"
#include "Platform/Text.h"
#include "TavroCore/personal/RemindersService.h"
#include "tests/personal/PersonalDesk.h"

namespace {

using testing::StartsWith;

class RemindersServiceTest : public PersonalDesk {
 protected:
  void title(const std::string& list, const std::string& displayName) const {
    put("reminders/" + list + "/displayname", displayName);
  }
  static std::string alarm(const std::string& trigger) {
    return "BEGIN:VALARM\nACTION:DISPLAY\nTRIGGER" + trigger + "\nEND:VALARM";
  }
  /// The lines of a file that begin with one of the names.
  std::string said(const std::string& place, const std::vector<std::string>& names, bool others = false) const {
    std::string result;
    for (const auto& line : Text::split(get("reminders/" + place + ".ics"), '\n')) {
      const auto begins = [&](const auto& name) { return line.starts_with(name); };
      if (std::any_of(names.begin(), names.end(), begins) != others) result += line + "\n";
    }
    return result;
  }
  static std::string find(const std::string& args = "limit=0") { return callTool("reminder.find", args); }
  static std::string update(const std::string& name, const std::string& due, const std::string& list = "") {
    return callTool("reminder.update", {{"name", name}, {"due", due}, {"list", list}});
  }
};

// ---- Reading.

TEST_F(RemindersServiceTest, listsAllListsByTitleWithTheirCounts) {
  EXPECT_EQ(RemindersService::listAll(), "(no reminder lists)");
  todo("b/1", "SUMMARY:x");
  todo("b/2", "SUMMARY:x\nSTATUS:COMPLETED");
  todo("b/3", "SUMMARY:x\nSTATUS:NEEDS-ACTION");
  title("y", "alpha");
  title("x", "ALPHA\n");
  title("w", "Two\nlines || active=9");
  title("v", "\u00C4rger");
  put("reminders/Z/readme.txt", "no reminder");
  put("reminders/stray.ics", file("VTODO", "UID:s\nSUMMARY:of no list"));
  EXPECT_EQ(
      RemindersService::listAll(),
      "ALPHA || active=0 || done=0\nalpha || active=0 || done=0\n\u00C4rger || active=0 || done=0\nb || active=2 || done=1\n"
      "Two lines || active=9 || active=0 || done=0\nZ || active=0 || done=0");
}

TEST_F(RemindersServiceTest, findsByDueDateAndWhatHasNoneLast) {
  EXPECT_EQ(find(), "(no reminders)");
  todo("home/a", "SUMMARY:never");
  todo("home/b", "SUMMARY:late\nDUE:20260314T120000Z");
  todo("home/c", "SUMMARY:day\nDUE;VALUE=DATE:20260314");
  todo("home/d", "DUE;TZID=America/New_York:20260313T180000");
  todo("home/e", "SUMMARY:\nDUE:20260313T230000");
  todo("home/f", "SUMMARY:never too");
  todo("work/a", "SUMMARY:day\nDUE;VALUE=DATE:20260314");
  todo("work/b", "SUMMARY:done\nSTATUS:COMPLETED\nDUE:19000101T000000Z");
  title("work", "home");
  title("empty", "Empty");
  const std::string open =
      "home || todo || 2026-03-13 23:00 || \nhome || todo || 2026-03-13 23:00 || \n"
      "home || todo || 2026-03-14 00:00 || day\nhome || todo || 2026-03-14 00:00 || day\n"
      "home || todo || 2026-03-14 13:00 || late\nhome || todo ||  || never\nhome || todo ||  || never too";
  EXPECT_EQ(find(), open);
  EXPECT_EQ(find("limit=-3"), open);
  EXPECT_EQ(find("list=home;limit=7"), open);
  EXPECT_EQ(find("list=home;limit=1"), open.substr(0, open.find('\n')));
  EXPECT_THAT(find("list=home;limit=8;includeCompleted=true"),
              StartsWith("home || done || 1900-01-01 01:00 || done\n"));
  EXPECT_EQ(find("list=Empty"), "(no reminders)");
  EXPECT_EQ(find("list=Home"), "no Reminders list named \"Home\".");
  EXPECT_EQ(RemindersService::listCount("home"), 8u);
  EXPECT_EQ(RemindersService::listCount("Home"), 0u);
}

TEST_F(RemindersServiceTest, keepsAReminderOnOneLineWhateverItsTitleHolds) {
  todo("w/1", "SUMMARY:Milk\\n\\nBank || done ||  || forged\\, really\xE2\x80\xA8.");
  EXPECT_EQ(find(), "w || todo ||  || Milk Bank || done ||  || forged, really .");
  EXPECT_THAT(update("MILK", "2026-03-14"), StartsWith("OK \"Milk Bank || "));
}

// ---- A new due date.

TEST_F(RemindersServiceTest, movesTheDueDateAndTheAlarmsAtFixedTimes) {
  struct Row {
    std::string before, due, old, after;
  };
  const std::string at = ";VALUE=DATE-TIME:", half = at + "20260328T073000Z", relative = alarm(":-PT15M");
  const Row rows[] = {
      {"DUE:20260328T080000Z\n" + alarm(half) + "\n" + relative, "2026-03-30 09:15", "2026-03-28",
       "DUE:20260330T071500Z\nTRIGGER" + at + "20260330T064500Z\nTRIGGER:-PT15M\n"},
      // A day is a midnight. The night of the clock change is shorter, and the alarm comes as long before.
      {"DUE;VALUE=DATE:20260328\n" + alarm(half), "2026-03-30", "2026-03-28",
       "DUE;VALUE=DATE:20260330\nTRIGGER" + at + "20260330T063000Z\n"},
      {"DUE:20260328T080000Z\n" + alarm(half), "2026-03-27", "2026-03-28",
       "DUE;VALUE=DATE:20260327\nTRIGGER" + at + "20260326T223000Z\n"},
      {"X-A:1\n" + alarm(half) + "\n" + relative, "2026-03-30", "(none)",
       "DUE;VALUE=DATE:20260330\nTRIGGER" + half + "\nTRIGGER:-PT15M\n"},
      // Times that a clock change skips or doubles.
      {"X-A:1", "2026-03-29 02:30", "(none)", "DUE:20260329T013000Z\n"},
      {"X-A:1", "2026-10-25 02:30", "(none)", "DUE:20261025T003000Z\n"},
      {"DUE:20260328T010000Z\n" + alarm(half), "2026-03-29 02:30", "2026-03-28",
       "DUE:20260329T013000Z\nTRIGGER" + at + "20260329T080000Z\n"},
      {"X-A:1", "2028-02-29 23:59", "(none)", "DUE:20280229T225900Z\n"},
      {"X-A:1", "9999-12-30", "(none)", "DUE;VALUE=DATE:99991230\n"},
  };
  for (const auto& row : rows) {
    todo("Home/t", "SUMMARY:Buy stamps\n" + row.before);
    EXPECT_EQ(update("STAMP", row.due), "OK \"Buy stamps\" due " + row.old + " -> " + row.due + " (list \"Home\")");
    EXPECT_EQ(said("Home/t", {"DUE", "TRIGGER"}), row.after) << row.before;
  }
  EXPECT_EQ(find(), "Home || todo || 9999-12-30 00:00 || Buy stamps");
}

TEST_F(RemindersServiceTest, leavesTheRestOfTheFileByteForByte) {
  todo("Home/t",
       "X-ODD;P=\"a:b\":c\\,d\nSUMMARY;LANGUAGE=de:Brief\\; mit\n  Umbruch\nDUE:20260328T080000Z\nPRIORITY:1\r\n"
       "CATEGORIES:a,b\n" +
           alarm(":-PT5M\nX-MINE:\t1"));
  const std::vector<std::string> written = {"DUE", "DTSTAMP", "LAST-MODIFIED", "SEQUENCE"};
  const auto before = said("Home/t", written, /*others=*/true);
  EXPECT_THAT(update("brief; mit umbruch", "2026-04-01"), StartsWith("OK "));
  EXPECT_EQ(said("Home/t", written, /*others=*/true), before);
}

TEST_F(RemindersServiceTest, refusesWhatIsntClearAndChangesNothing) {
  todo("Home/1", "SUMMARY:Call Ann");
  todo("Home/2", "SUMMARY:Call ann back");
  todo("Home/3", "SUMMARY:Call Bob\nSTATUS:COMPLETED");
  todo("Work/4", "DUE;VALUE=DATE:20260314");
  const auto files = [&] {
    return get("reminders/Home/1.ics") + get("reminders/Home/2.ics") + find("includeCompleted=true");
  };
  const auto before = files();
  EXPECT_EQ(update("ANN", "soon"), "2 incomplete reminders match \"ANN\" - make name= unique (or scope with list=).");
  EXPECT_EQ(update("bob", "soon"), "no incomplete reminder whose name contains \"bob\".");
  EXPECT_EQ(update("ann", "soon", "Work"), "no incomplete reminder whose name contains \"ann\".");
  EXPECT_EQ(update("ann back", "soon", "work"), "no Reminders list named \"work\".");
  for (const std::string due : {"soon",
                                "2026-03-14 noon",
                                "2026-03-14T09:00",
                                "2026-02-30",
                                "2026-3-14",
                                "14.03.2026",
                                "2026-03-14 ",
                                " 2026-03-14",
                                "2026-03-14 09:00 ",
                                "2026-03-14  09:00",
                                "2026-03-14 9:00",
                                "2026-03-14 24:00",
                                "2026-03-14 09:60",
                                "2026-03-14 09:00:00",
                                "2026-00-10",
                                "2026-13-10",
                                "2026-03-00",
                                "2027-02-29",
                                "0000-01-01",
                                "+026-03-14",
                                "12026-03-14",
                                "2026-03-14\n"})
    EXPECT_EQ(update("ann back", due), "can't parse due=\"" + due + "\" - use YYYY-MM-DD or \"YYYY-MM-DD HH:MM\".");
  EXPECT_EQ(files(), before);
}

// ---- Removing.

TEST_F(RemindersServiceTest, deletesEveryListOfATitleHoweverItsAccentsAreWritten) {
  for (const std::string list : {"a", "b", "home"}) todo(list + "/1", "SUMMARY:x");
  title("a", "Caf\u00E9");
  title("b", "Cafe\u0301\n");
  const auto remove = [](const std::string& name) { return callTool("reminder.deleteList", "name=" + name); };
  EXPECT_EQ(remove("caf\u00E9"), "no Reminders list named \"caf\u00E9\".");
  for (const char* name : {"Caf\u00E9", "Cafe\u0301"}) EXPECT_EQ(RemindersService::listCount(name), 2u);
  EXPECT_EQ(remove("Caf\u00E9"), "OK deleted list \"Caf\u00E9\" (2 lists shared that name)");
  EXPECT_EQ(RemindersService::listAll(), "home || active=1 || done=0");
  EXPECT_EQ(remove("home"), "OK deleted list \"home\"");
}

// The disk refuses one write after the other, until a run has had none refused.
TEST_F(RemindersServiceTest, removesNothingWhereTheDiskRefuses) {
  put("../tavro/config.json", R"({"autonomyMode": "yolo"})");
  const auto marker = directory / "fault";
  const auto isDone = [&](std::vector<std::string> call, int fault) {
    Files::remove(marker);
    call.insert(call.begin(), "run");
    return Process::run({.program = Bundle::url() / "tavro",
                         .arguments = call,
                         .environment = {{"LD_PRELOAD", Bundle::url() / "libfaults.so"},
                                         {"ASAN_OPTIONS", "verify_asan_link_order=0:detect_leaks=0"},
                                         {"TAVRO_FAULT_AT", std::to_string(fault)},
                                         {"TAVRO_FAULT_MARKER", marker}}})
        .status.ok();
  };
  int refusals = 0;
  for (int fault = 1; fault == 1 || Files::exists(marker); ++fault) {
    for (const std::string list : {"a", "b"}) {
      todo(list + "/1", "SUMMARY:open\nEND:VTODO\nBEGIN:VTODO\nUID:2\nSUMMARY:done\nSTATUS:COMPLETED");
      title(list, "Trip");
    }
    const bool isCleared = isDone({"reminder.clearCompleted", "list=a"}, fault);
    EXPECT_EQ(RemindersService::listCount("Trip"), isCleared ? 3u : 4u) << fault;
    const auto before = find("includeCompleted=true");
    const bool isDeleted = isDone({"reminder.deleteList", "name=Trip"}, fault);
    EXPECT_EQ(find("includeCompleted=true"), isDeleted ? "(no reminders)" : before) << fault;
    refusals += !isCleared + !isDeleted;
  }
  EXPECT_GT(refusals, 4);
}

TEST_F(RemindersServiceTest, clearsWhatIsCompletedAndNothingElse) {
  todo("Home/1", "SUMMARY:open");
  todo("Home/2", "SUMMARY:done\nSTATUS:COMPLETED");
  todo("Home/3", "SUMMARY:done\nSTATUS:COMPLETED\nEND:VTODO\nBEGIN:VTODO\nUID:other\nSUMMARY:open too");
  todo("Work/4", "SUMMARY:done\nCOMPLETED:20260314T000000Z");
  const auto clear = [](const std::string& args) { return callTool("reminder.clearCompleted", args); };
  EXPECT_EQ(RemindersService::completedCount({}), 3u);
  EXPECT_EQ(clear("list=home"), "no Reminders list named \"home\".");
  EXPECT_EQ(clear("list=Home"), "OK deleted 2 completed reminder(s) from list \"Home\"");
  EXPECT_EQ(clear("list=Home"), "OK deleted 0 completed reminder(s) from list \"Home\"");
  EXPECT_EQ(RemindersService::completedCount(""), 1u);
  EXPECT_EQ(clear(""), "OK deleted 1 completed reminder(s) from all lists");
  EXPECT_EQ(find("includeCompleted=true"), "Home || todo ||  || open\nHome || todo ||  || open too");
}

// ---- Access.

TEST_F(RemindersServiceTest, doesNothingWithoutAccessAndSaysWhere) {
  todo("Home/1", "SUMMARY:x\nSTATUS:COMPLETED");
  const auto file = get("reminders/Home/1.ics");
  const std::string denied =
      "Reminders access not granted. Allow it in System Settings → Privacy & Security → Reminders, then retry.";
  const std::pair<const char*, std::string> rows[] = {
      {R"("denied")", denied},
      {R"("not determined", "consent": "refuse")", denied},
      {R"("write only")", denied},
      {R"("restricted")", "Reminders access is restricted by a system policy (MDM/parental controls)."},
  };
  for (const auto& [access, message] : rows) {
    put("permissions.json", fmt::format(R"({{"reminders": {{"access": {}}}}})", access));
    for (const char* id : {"lists", "find", "update", "deleteList", "clearCompleted"})
      EXPECT_EQ(callTool(std::string("reminder.") + id, "name=x;due=soon"), message) << id << " " << access;
    EXPECT_EQ(RemindersService::listCount("Home") + RemindersService::completedCount({}), 0u);
  }
  EXPECT_EQ(get("reminders/Home/1.ics"), file);
  put("permissions.json", R"({"reminders": {"access": "not determined", "consent": "give"}})");
  EXPECT_EQ(RemindersService::listAll(), "Home || active=0 || done=1");
}

}  // namespace
