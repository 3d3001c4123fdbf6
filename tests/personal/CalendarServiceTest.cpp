// Guards the agent's hands on the calendar: it sees the range that it asked for and nothing forged, it changes one
// occurrence or nothing at all, and nothing without the owner's leave. khal judges what was written.
#include <fmt/format.h>

#include "Platform/Dates.h"
#include "Platform/Process.h"
#include "Platform/Text.h"
#include "tests/personal/PersonalDesk.h"

namespace {

class CalendarServiceTest : public PersonalDesk {
 protected:
  /// calendars/<place>.ics
  void event(const std::string& place, const std::string& lines) const {
    put("calendars/" + place + ".ics", file("VEVENT", "UID:" + place + "\n" + lines));
  }
  void timeIs(const std::string& utc) { clock.set(*Dates::parseISO8601(utc)); }

  /// What khal lists of the calendar "work" in March 2026, a line each.
  std::string khal() {
    put("khal.conf", "[calendars]\n[[work]]\npath = " + (root / "calendars/work").string() +
                         "\n[locale]\nlocal_timezone = Europe/Berlin\ndefault_timezone = Europe/Berlin\n"
                         "dateformat = %Y-%m-%d\nlongdateformat = %Y-%m-%d\ntimeformat = %H:%M\n"
                         "datetimeformat = %Y-%m-%d %H:%M\nlongdatetimeformat = %Y-%m-%d %H:%M\n[sqlite]\npath = " +
                         (root / fmt::format("khal{}.db", ++runs)).string() + "\n");
    const auto config = (root / "khal.conf").string(), format = std::string("{start-date} {title}|{location}|{url}");
    const auto result = Process::run(
        {.program = "khal",
         .arguments = {"-c", config, "list", "--day-format", "", "--format", format, "2026-03-01", "2026-03-31"}});
    EXPECT_EQ(result.status.code, 0) << result.errors;
    return result.output;
  }

  int runs = 0;
  Dates::FixedClock clock{*Dates::parseISO8601("2026-03-14T08:26:53Z")};  // 09:26:53 in Berlin
};

TEST_F(CalendarServiceTest, listsAllCalendarsByStartOneEventALine) {
  put("calendars/home/displayname", "Ann's home\n");
  event("home/day", "SUMMARY:Birthday\nDTSTART;VALUE=DATE:20260314");
  event("home/started", "SUMMARY:Under way\nDTSTART:20260314T080000\nDTEND:20260314T100000");
  event("home/over", "SUMMARY:Over\nDTSTART:20260314T080000\nDTEND:20260314T090000");
  event("home/tooLate", "SUMMARY:A second too late\nDTSTART:20260317T092654");
  event("home/trap", "SUMMARY:Trap\\n2026-03-15 12:00 || work || Paid\nLOCATION:a\\nb\nDTSTART:20260316T120000");
  event("work/daily",
        "SUMMARY:Standup\nDTSTART:20260315T093000Z\nLOCATION:Room 2\nURL:https://x.example/1\nRRULE:FREQ=DAILY");
  event("work/empty", "DTSTART:20260315T103000\nLOCATION:");
  event("work/last", "SUMMARY:Last moment\nDTSTART:20260317T092653");
  EXPECT_EQ(callTool("cal.find", "days=3"),
            "2026-03-14 (all-day) || Ann's home || Birthday\n"
            "2026-03-14 08:00 || Ann's home || Under way\n"
            "2026-03-15 10:30 || work || Standup @ Room 2 🔗 https://x.example/1\n"
            "2026-03-15 10:30 || work || (untitled)\n"
            "2026-03-16 10:30 || work || Standup @ Room 2 🔗 https://x.example/1\n"
            "2026-03-16 12:00 || Ann's home || Trap 2026-03-15 12:00 || work || Paid @ a b\n"
            "2026-03-17 09:26 || work || Last moment");
}

TEST_F(CalendarServiceTest, looksAsFarAsItIsToldAndOneWayOnly) {
  event("work/before", "SUMMARY:Before\nDTSTART:20260312T120000");
  event("work/after", "SUMMARY:Straße\nDTSTART:20260316T120000");
  const std::string before = "2026-03-12 12:00 || work || Before", after = "2026-03-16 12:00 || work || Straße";
  const std::string largest = "9223372036854775807", smallest = "-9223372036854775808";
  const std::pair<std::string, std::string> rows[] = {
      {"", after},
      {"days=soon", after},
      {"days=99999999999999999999", after},  // no number that anything holds
      {"days=-7", before},
      {"days=1", "(no events in the next 1 day(s))"},
      {"days=-1", "(no events in the past 1 day(s))"},
      {"days=0", "(no events in the next 0 day(s))"},
      {"days=" + largest, after},
      {"days=" + smallest, before},
      {"contains=STRASSE", after},
      {"contains=", after},
      {"contains=Before", "(no events in the next 7 day(s) matching \"Before\")"},
      {"contains=x;days=" + largest, "(no events in the next " + largest + " day(s) matching \"x\")"},
      {"contains=x;days=" + smallest, "(no events in the past 9223372036854775808 day(s) matching \"x\")"},
  };
  for (const auto& [args, expected] : rows) EXPECT_EQ(callTool("cal.find", args), expected) << args;
  timeIs("2026-03-16T11:00:00Z");
  EXPECT_EQ(callTool("cal.find", "days=0"), after);  // it begins at this very instant
}

TEST_F(CalendarServiceTest, keepsTheTimeOfDayThroughClockChangesAndLeapDays) {
  event("work/spring", "SUMMARY:x\nDTSTART:20260329T100000");
  event("work/leap", "SUMMARY:x\nDTSTART:20280229T100000");
  event("work/autumn", "SUMMARY:x\nDTSTART;TZID=Europe/Berlin:20261025T020000\nDURATION:PT15M");
  const std::string none = "(no events in the next 1 day(s))";
  timeIs("2026-03-28T09:00:00Z");  // 10:00, which is 23 hours before the next 10:00
  EXPECT_EQ(callTool("cal.find", "days=1"), "2026-03-29 10:00 || work || x");
  timeIs("2026-03-28T08:59:59Z");
  EXPECT_EQ(callTool("cal.find", "days=1"), none);
  timeIs("2028-02-28T09:00:00Z");
  EXPECT_EQ(callTool("cal.find", "days=1"), "2028-02-29 10:00 || work || x");
  timeIs("2026-10-25T01:10:00Z");  // the second 02:10 of that night; the first saw the event
  EXPECT_EQ(callTool("cal.find", "days=0"), "(no events in the next 0 day(s))");
  timeIs("2026-10-24T00:10:00Z");
  EXPECT_EQ(callTool("cal.find", "days=1"), "2026-10-25 02:00 || work || x");
}

TEST_F(CalendarServiceTest, changesOneOccurrenceAloneAsKhalSeesToo) {
  event("work/weekly",
        "SUMMARY:Standup\nDTSTART:20260309T100000\nDURATION:PT1H\nRRULE:FREQ=WEEKLY;COUNT=3\nX-OURS:kept");
  EXPECT_EQ(callTool("cal.update",
                     "contains=STAND;days=7;title=Retro;location=Room 2;"
                     "url=message://%3Cabc@x.example%3E;notes=bring cake"),
            "OK updated [Standup @ -] → title=\"Retro\" location=\"Room 2\" url=\"message://%3Cabc@x.example%3E\"");
  EXPECT_EQ(khal(),
            "2026-03-09 Standup||\n2026-03-16 Retro|Room 2|message://%3Cabc@x.example%3E\n2026-03-23 Standup||\n");
  EXPECT_THAT(get("calendars/work/weekly.ics"), testing::HasSubstr("DESCRIPTION:bring cake"));
  EXPECT_EQ(callTool("cal.update", "contains=retro;url=not a url;title="),  // the title is absent, the link goes
            "OK updated [Retro @ Room 2] → title=\"Retro\" location=\"Room 2\"");
  EXPECT_EQ(callTool("cal.delete", "contains=standup;days=10"), "OK deleted [Standup]");
  EXPECT_EQ(khal(), "2026-03-09 Standup||\n2026-03-16 Retro|Room 2|\n");
  EXPECT_THAT(get("calendars/work/weekly.ics"), testing::HasSubstr("X-OURS:kept"));
}

TEST_F(CalendarServiceTest, searchesOneDayAtLeastForTheEventToChange) {
  event("work/yesterday", "SUMMARY:Lunch\nDTSTART:20260313T120000");
  event("work/tomorrow", "SUMMARY:Lunch\nDTSTART:20260315T080000");
  event("work/later", "SUMMARY:Lunch\nDTSTART:20260316T080000");
  for (const char* days : {"0", "-30", "-9223372036854775808"})
    EXPECT_EQ(callTool("cal.update", std::string("contains=lunch;location=L;days=") + days),
              "OK updated [Lunch @ " + std::string(days[0] == '0' ? "-" : "L") + "] → title=\"Lunch\" location=\"L\"");
  EXPECT_EQ(callTool("cal.delete", "contains=lunch;days=-1"), "OK deleted [Lunch]");
  EXPECT_FALSE(Files::exists(root / "calendars/work/tomorrow.ics"));
  EXPECT_EQ(callTool("cal.delete", "contains=lunch;days=0"),
            "no event in range matching \"lunch\" - nothing to update.");
  EXPECT_EQ(callTool("cal.delete", "contains=lunch;days=9223372036854775807"), "OK deleted [Lunch]");
  EXPECT_TRUE(Files::exists(root / "calendars/work/yesterday.ics"));
}

TEST_F(CalendarServiceTest, leavesEverythingWhereItIsInDoubt) {
  put("calendars/work/displayname", "Team");
  event("work/a", "SUMMARY:Dinner\nDTSTART:20260315T180000");
  event("home/b", "SUMMARY:Dinner for\\ntwo\nDTSTART:20260316T180000");
  const auto a = get("calendars/work/a.ics"), b = get("calendars/home/b.ics");
  const std::string two = "ambiguous: 2 events match - refine `contains`:\nDinner for two (home)\nDinner (Team)";
  EXPECT_EQ(callTool("cal.update", "contains=dinner;title=x"), two);
  EXPECT_EQ(callTool("cal.delete", "contains=dinner"), two);
  EXPECT_EQ(callTool("cal.update", "contains=supper;title=x"),
            "no event in range matching \"supper\" - nothing to update.");
  EXPECT_EQ(get("calendars/work/a.ics"), a);
  EXPECT_EQ(get("calendars/home/b.ics"), b);
}

TEST_F(CalendarServiceTest, asksTheOwnerFirstAndTakesNoForAnAnswer) {
  const std::string denied =
      "Calendars access not granted. Allow it in System Settings → Privacy & Security → Calendars, then retry.";
  const std::string restricted = "Calendars access is restricted by a system policy (MDM/parental controls).";
  const std::string found = "2026-03-15 18:00 || work || Dinner";
  const std::pair<const char*, std::string> rows[] = {
      {R"({"access": "denied", "consent": "give"})", denied},
      {R"({"access": "restricted", "consent": "give"})", restricted},
      {R"({"access": "not determined", "consent": "refuse"})", denied},
      {R"({"access": "not determined"})", denied},
      {R"({"access": "write only", "consent": "refuse"})", denied},
      {R"({"access": "write only", "consent": "give"})", found},
      {R"({"access": "not determined", "consent": "give"})", found},
      {R"({"access": "full access"})", found},
  };
  event("work/a", "SUMMARY:Dinner\nDTSTART:20260315T180000");
  const auto untouched = get("calendars/work/a.ics");
  for (const auto& [entry, expected] : rows) {
    const auto setPermission = [&, &said = entry] {
      put("permissions.json", std::string("{\"events\": ") + said + "}");
    };
    setPermission();
    EXPECT_EQ(callTool("cal.find"), expected) << entry;
    if (expected == found) continue;
    setPermission();
    EXPECT_EQ(callTool("cal.update", "contains=dinner;title=x"), expected) << entry;
    setPermission();
    EXPECT_EQ(callTool("cal.delete", "contains=dinner"), expected) << entry;
    EXPECT_EQ(get("calendars/work/a.ics"), untouched);
  }
}

TEST_F(CalendarServiceTest, asksForNoPermissionWhenThereIsNothingToDo) {
  const std::string open = R"({"events": {"access": "not determined", "consent": "give"}})";
  put("permissions.json", open);
  EXPECT_EQ(callTool("cal.update", "contains=dinner;title=;url="),
            "no change requested (pass at least one of title / location / notes / url).");
  EXPECT_EQ(get("permissions.json"), open);
}

TEST_F(CalendarServiceTest, passesOnWhyTheDesktopCouldNotDoIt) {
  event("work/a", "SUMMARY:Dinner\nDTSTART:20260315T180000");
  put(".calendars.lock/directory", "");  // where locks should be
  put(".permissions.lock/directory", "");
  const auto untouched = get("calendars/work/a.ics");
  EXPECT_THAT(callTool("cal.update", "contains=dinner;title=x"), testing::HasSubstr(".calendars.lock"));
  EXPECT_THAT(callTool("cal.delete", "contains=dinner"), testing::HasSubstr(".calendars.lock"));
  EXPECT_EQ(get("calendars/work/a.ics"), untouched);
  put("permissions.json", R"({"events": {"access": "not determined", "consent": "give"}})");
  EXPECT_THAT(callTool("cal.find"), testing::StartsWith("EventKit access request failed: "));
}

}  // namespace
