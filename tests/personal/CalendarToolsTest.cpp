// Guards what the calendar's tools take from an agent, and that an event made by script is one that they find.
#include "tests/personal/PersonalDesk.h"

namespace {

using testing::ElementsAre;

class CalendarToolsTest : public PersonalDesk {};

TEST_F(CalendarToolsTest, refuseACallWithoutWhatItNeedsBeforeItIsQueued) {
  const std::tuple<const char*, const char*, const char*> rows[] = {
      {"cal.update", "title=x", "contains"},   {"cal.update", "contains=;title=x", "contains"},
      {"cal.delete", "days=3", "contains"},    {"cal.add", "summary=x", "calendar"},
      {"cal.add", "calendar=work", "summary"}, {"cal.add", "calendar=;summary=", "calendar"},
  };
  for (const auto& [id, args, missing] : rows) {
    EXPECT_EQ(callTool(id, args), std::string("missing required argument: ") + missing) << id << " " << args;
    const auto run = Tools::find(id)->nativeRun;
    if (!run) continue;
    EXPECT_THROW(run(arguments(args)), ToolError);  // an approved action is built no more
  }
  EXPECT_EQ(Tools::find("cal.find")->build({}).text, "");
}

TEST_F(CalendarToolsTest, giveTheScriptNumbersItCanRead) {
  const auto argv = [](const std::string& args) { return Tools::find("cal.add")->build(arguments(args)).argv; };
  EXPECT_THAT(argv("calendar=work;summary=x"), ElementsAre("work", "x", "0", "", "60", "", "", ""));
  EXPECT_THAT(argv("calendar=c;summary=s;days=-2;hour=9;duration=30;location=l;notes=n;url=u"),
              ElementsAre("c", "s", "-2", "9", "30", "l", "n", "u"));
  EXPECT_THAT(argv("calendar=c;summary=s;days=1.5;hour=noon;duration=long"),
              ElementsAre("c", "s", "0", "noon", "60", "", "", ""));
}

TEST_F(CalendarToolsTest, findChangeAndDeleteWhatAScriptMade) {
  put("calendars/work/displayname", "Team");
  EXPECT_THAT(callTool("cal.add",
                       "calendar=Team;summary=Plan \"A\"\nB;days=1;hour=9;duration=30;location=Room 2;"
                       "notes=bring cake;url=message://%3Cabc@x.example%3E"),
              testing::MatchesRegex("OK event @ .* at 9:00:00 AM"));
  EXPECT_THAT(
      callTool("cal.find", "days=2"),
      testing::MatchesRegex("....-..-.. 09:00 .. Team .. Plan \"A\" B @ Room 2 🔗 message://%3Cabc@x.example%3E"));
  EXPECT_EQ(callTool("cal.update", "contains=plan;title=Retro"),
            "OK updated [Plan \"A\" B @ Room 2] → title=\"Retro\" location=\"Room 2\" "
            "url=\"message://%3Cabc@x.example%3E\"");
  EXPECT_EQ(callTool("cal.delete", "contains=retro"), "OK deleted [Retro]");
  EXPECT_EQ(callTool("cal.find", "days=2"), "(no events in the next 2 day(s))");
}

TEST_F(CalendarToolsTest, saySoWhereAnEventCannotBeMade) {
  put("calendars/work/displayname", "work");
  const std::pair<const char*, const char*> rows[] = {
      {"calendar=home;summary=x", "Can’t get calendar \"home\""},
      {"calendar=work;summary=x;hour=noon", "Can’t make \"noon\" into type integer"},
      {"calendar=work;summary=x;duration=-60", "The start date must be before the end date"},
  };
  for (const auto& [args, reason] : rows)
    EXPECT_THAT(callTool("cal.add", args),
                testing::AllOf(testing::StartsWith("execution error: "), testing::HasSubstr(reason)));
}

}  // namespace
