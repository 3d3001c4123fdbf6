// Guards the reminder tools as an agent meets them: what they ask for, what a preview says, and that scripts and the
// native store mean the same lists and reminders.
#include "TavroCore/personal/PersonalScripts.h"
#include "TavroCore/personal/ReminderTools.h"
#include "tests/personal/PersonalDesk.h"

namespace {

class ReminderToolsTest : public PersonalDesk {
 protected:
  void todo(const std::string& place, const std::string& lines) const {
    put("reminders/" + place + ".ics", file("VTODO", "UID:" + place + "\n" + lines));
  }
  static std::string call(const std::string& id, const std::string& args = "") {
    return callTool("reminder." + id, args);
  }
};

TEST_F(ReminderToolsTest, standInTheCataloguesOrder) {
  std::string ids;
  for (const auto& one : ReminderTools::all()) ids += one.id + ":" + std::string(rawValue(one.effect)) + " ";
  EXPECT_EQ(ids,
            "reminder.lists:read reminder.find:read reminder.add:create reminder.addList:create "
            "reminder.renameList:create reminder.update:create reminder.complete:create reminder.delete:destructive "
            "reminder.deleteList:destructive reminder.clearCompleted:destructive ");
}

TEST_F(ReminderToolsTest, refuseAMissingArgumentBeforeTheyWait) {
  const auto refusal = [](const std::string& id, const std::string& args) {
    try {
      Tools::find("reminder." + id)->build(arguments(args));
      return std::string("built");
    } catch (const ToolError& error) {
      return error.description();
    }
  };
  const std::string missing = "missing required argument: ";
  for (const char* id : {"add", "addList", "complete", "delete", "deleteList"})
    EXPECT_EQ(refusal(id, "name=;list=x;due=2026-03-14"), missing + "name") << id;
  EXPECT_EQ(refusal("renameList", "to=x"), missing + "from");
  EXPECT_EQ(refusal("renameList", "from=x;to="), missing + "to");
  EXPECT_EQ(refusal("update", "due=2026-03-14"), missing + "name");
  EXPECT_EQ(refusal("update", "name=x"), missing + "due");
  for (const char* id : {"lists", "find", "clearCompleted"}) EXPECT_EQ(refusal(id, ""), "built") << id;
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

}  // namespace
