// Guards the reminder tools as an agent meets them: what they ask for, what a preview says, and that scripts and the
// native store mean the same lists and reminders.
#include "tests/personal/PersonalDesk.h"

namespace {

class ReminderToolsTest : public PersonalDesk {
 protected:
  static std::string call(const std::string& id, const std::string& args = "") {
    return callTool("reminder." + id, args);
  }
};

TEST_F(ReminderToolsTest, refuseAMissingArgumentBeforeTheyWait) {
  const std::string missing = "missing required argument: ";
  for (const char* id : {"add", "addList", "complete", "delete", "deleteList"})
    EXPECT_EQ(call(id, "name=;list=x;due=2026-03-14"), missing + "name") << id;
  EXPECT_EQ(call("renameList", "to=x"), missing + "from");
  EXPECT_EQ(call("renameList", "from=x;to="), missing + "to");
  EXPECT_EQ(call("update", "due=2026-03-14"), missing + "name");
  EXPECT_EQ(call("update", "name=x"), missing + "due");
  for (const char* id : {"update", "deleteList"})
    EXPECT_THROW(Tools::find(std::string("reminder.") + id)->build({}), ToolError);
}

TEST_F(ReminderToolsTest, readTheirArgumentsLeniently) {
  for (int i = 10; i < 70; ++i) todo("Home/" + std::to_string(i), "SUMMARY:x");
  todo("Home/done", "SUMMARY:x\nSTATUS:COMPLETED");
  const auto lines = [](const std::string& args) {
    const auto output = call("find", args);
    return std::count(output.begin(), output.end(), '\n') + 1;
  };
  for (const char* args : {"", "limit=", "limit=many", "limit=1e3", "limit=50.0", "list=;limit=99999999999999999999"})
    EXPECT_EQ(lines(args), 50) << args;
  EXPECT_EQ(lines("limit=0"), 60);
  EXPECT_EQ(lines("limit=-1;includeCompleted=yes"), 60);
  EXPECT_EQ(lines("limit=0;includeCompleted=TRUE"), 61);
  const auto done = [](const std::string& value) {
    return Tools::find("reminder.complete")->build({{"name", "n"}, {"complete", value}}).argv;
  };
  for (const char* value : {"", "true", "no", "0", " false"})
    EXPECT_EQ(done(value), (std::vector<std::string>{"", "n", "1"})) << value;
  EXPECT_EQ(done("False").back(), "0");
}

TEST_F(ReminderToolsTest, previewWhatWouldGo) {
  todo("Home/1", "SUMMARY:x");
  todo("Home/2", "SUMMARY:x\nSTATUS:COMPLETED");
  const std::string untouched = " - active ones untouched, irreversible.";
  EXPECT_EQ(previewOf("reminder.deleteList", "name=Home"),
            "Deletes list \"Home\" and its 2 reminder(s) - irreversible.");
  EXPECT_EQ(previewOf("reminder.deleteList", "name=Nope"),
            "Deletes list \"Nope\" and its 0 reminder(s) - irreversible.");
  EXPECT_EQ(previewOf("reminder.deleteList", "name="), "(none)");
  EXPECT_EQ(previewOf("reminder.clearCompleted", ""), "Deletes 1 completed reminder(s) from all lists" + untouched);
  put("permissions.json", R"({"reminders": {"access": "denied"}})");
  EXPECT_EQ(previewOf("reminder.deleteList", "name=Home"),
            "Deletes list \"Home\" and its 0 reminder(s) - irreversible.");
  EXPECT_EQ(previewOf("reminder.clearCompleted", "list=Home"),
            "Deletes 0 completed reminder(s) from list \"Home\"" + untouched);
}

// ---- By script and natively: one store.

TEST_F(ReminderToolsTest, carryAReminderFromItsMakingToItsEnd) {
  EXPECT_EQ(call("addList", "name=Errands"), "OK list created: Errands");
  EXPECT_EQ(call("addList", "name=Errands"), "OK list exists: Errands");
  EXPECT_EQ(call("add", "name=Buy stamps;list=Errands;due=2026-03-29 09:30;notes=two"), "OK reminder created");
  EXPECT_EQ(call("find"), "Errands || todo || 2026-03-29 00:00 || Buy stamps");
  EXPECT_EQ(call("update", "name=STAMP;due=2026-04-01 09:30"),
            "OK \"Buy stamps\" due 2026-03-29 -> 2026-04-01 09:30 (list \"Errands\")");
  EXPECT_EQ(call("find"), "Errands || todo || 2026-04-01 09:30 || Buy stamps");
  EXPECT_EQ(call("complete", "name=stamps;list=Errands"), "OK updated 1 reminder(s)");
  EXPECT_EQ(call("find"), "(no reminders)");
  EXPECT_EQ(call("find", "includeCompleted=true"), "Errands || done || 2026-04-01 09:30 || Buy stamps");
  EXPECT_EQ(call("lists"), "Errands || active=0 || done=1");
  EXPECT_EQ(call("complete", "name=stamps;complete=FALSE"), "OK updated 1 reminder(s)");
  EXPECT_EQ(call("renameList", "from=Errands;to=Besorgungen/Stadt"), "OK list renamed: Errands -> Besorgungen/Stadt");
  EXPECT_EQ(call("renameList", "from=Errands;to=x"), "(no list named Errands)");
  EXPECT_EQ(call("find", "list=Errands"), "no Reminders list named \"Errands\".");
  EXPECT_EQ(call("find", "list=Besorgungen/Stadt"), "Besorgungen/Stadt || todo || 2026-04-01 09:30 || Buy stamps");
  EXPECT_EQ(call("delete", "name=stamps"), "OK deleted 1 reminder(s)");
  EXPECT_EQ(call("delete", "name=stamps"), "OK deleted 0 reminder(s)");
  EXPECT_EQ(call("deleteList", "name=Besorgungen/Stadt"), "OK deleted list \"Besorgungen/Stadt\"");
  EXPECT_EQ(call("lists"), "(no reminder lists)");
}

TEST_F(ReminderToolsTest, makeAReminderWithNoMoreThanAName) {
  const std::string odd = "\"Quoted\" \\ back, 'single'; $(x) ` 😀 é";
  EXPECT_EQ(callTool("reminder.add", {{"name", odd}, {"notes", odd + "\n" + odd}}), "OK reminder created");
  EXPECT_EQ(call("add", "name=Tax;due=2028-02-29 18:30"), "OK reminder created");
  ::setenv("TZ", "America/New_York", 1);  // the same day there
  EXPECT_THAT(call("find"), testing::HasSubstr("2028-02-29 00:00"));
  ::setenv("TZ", "Europe/Berlin", 1);
  for (const auto* day : {"tomorrow", "2026-13-01", "2026-3-14", "14.03.2026"})
    EXPECT_EQ(call("add", "name=Tax;due=" + std::string(day)),
              "can't parse due=\"" + std::string(day) + "\" - use YYYY-MM-DD or \"YYYY-MM-DD HH:MM\".");
  EXPECT_THAT(call("find"), testing::MatchesRegex("Reminders \\|\\| todo \\|\\| 2028-02-29 00:00 \\|\\| Tax\n[^\n]*"));
  EXPECT_THAT(call("find"), testing::EndsWith(" || todo ||  || " + odd));
}

TEST_F(ReminderToolsTest, meanTheSameListsAndReminders) {
  for (const char* list : {"a", "b"}) put(std::string("reminders/") + list + "/displayname", "Trip\n");
  todo("a/1", "SUMMARY:Pack bags\nX-MINE;P=q:kept\nDUE:20260314T080000Z");
  todo("a/2", "DESCRIPTION:has no name");
  todo("b/3", "SUMMARY:pack Lunch\nSTATUS:COMPLETED\nCOMPLETED:20260301T000000Z");
  EXPECT_EQ(call("complete", "name=PACK;list=Trip"), "OK updated 1 reminder(s)") << "the first list of that name";
  EXPECT_EQ(call("complete", "name=pack;complete=false"), "OK updated 2 reminder(s)");
  EXPECT_EQ(call("find"),
            "Trip || todo || 2026-03-14 09:00 || Pack bags\nTrip || todo ||  || \nTrip || todo ||  || pack Lunch");
  EXPECT_THAT(get("reminders/a/1.ics"), testing::HasSubstr("\nX-MINE;P=q:kept\n"));
  EXPECT_EQ(call("complete", "name=lunch"), "OK updated 1 reminder(s)");
  EXPECT_EQ(call("clearCompleted", "list=Trip"), "OK deleted 1 completed reminder(s) from list \"Trip\"");
  EXPECT_EQ(call("delete", "name=bags"), "OK deleted 1 reminder(s)");
  EXPECT_EQ(call("find"), "Trip || todo ||  || ");
  EXPECT_EQ(call("deleteList", "name=Trip"), "OK deleted list \"Trip\" (2 lists shared that name)");
}

}  // namespace
