// Guards Calendar as scripts see it: what they make is found at its time by every reader, what they change leaves the
// rest of a file alone, and what can't be is refused.
#include <fmt/format.h>

#include "Platform/linux/stores/CalendarStore.h"
#include "tests/calendar/Khal.h"
#include "tests/desktop/ScriptedDesk.h"

namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

class CalendarTest : public ScriptedDesk {
 protected:
  CalendarTest() { ::setenv("TZ", "Europe/Berlin", 1); }
  ~CalendarTest() override { ::unsetenv("TZ"); }

  /// calendars/work/<name>.ics with one event of these lines.
  void event(const std::string& name, const std::string& lines) const {
    put("calendars/work/" + name + ".ics", file("BEGIN:VEVENT\nUID:" + name + "\n" + lines + "END:VEVENT\n"));
  }
  static std::string file(const std::string& components) {
    return "BEGIN:VCALENDAR\nVERSION:2.0\nPRODID:x\n" + components + "END:VCALENDAR\n";
  }
  std::string events(const std::string& name) const { return cut(get("calendars/work/" + name + ".ics"), "VEVENT"); }
  static std::string cut(const std::string& text, const std::string& component) {
    const auto begin = text.find("BEGIN:" + component);
    return begin == std::string::npos ? text : text.substr(begin, text.rfind("END:VCALENDAR") - begin);
  }
  /// Without the marks of change, whose times nobody knows.
  static std::string unmarked(const std::string& text) {
    std::string result;
    for (const auto& line : Text::split(text, '\n'))
      if (!line.starts_with("DTSTAMP") && !line.starts_with("LAST-MODIFIED") && !line.starts_with("SEQUENCE"))
        result += line + "\n";
    return result;
  }
  static std::string make(const std::string& properties) {
    return tell("Calendar", "tell calendar \"work\" to make new event with properties {" + properties + "}");
  }
};

TEST_F(CalendarTest, makesEventsThatOthersFindAtTheirTime) {
  struct Row {
    const char *zone, *begins, *ends, *found;
  };
  const Row rows[] = {
      {"Europe/Berlin", "2026-03-14 09:30", "2026-03-14 10:00", "2026-03-14 09:30-2026-03-14 10:00"},
      {"Europe/Berlin", "2026-03-29 02:30", "2026-03-29 03:45", "2026-03-29 03:30-2026-03-29 03:45"},  // skipped
      {"Europe/Berlin", "2026-03-28 23:00", "2026-03-29 04:00", "2026-03-28 23:00-2026-03-29 04:00"},
      {"Europe/Berlin", "2026-10-25 01:30", "2026-10-25 03:30", "2026-10-25 01:30-2026-10-25 03:30"},
      {"America/New_York", "2026-03-08 02:30", "2026-03-08 05:00", "2026-03-08 03:30-2026-03-08 05:00"},
      {"Pacific/Auckland", "2026-04-05 12:00", "2026-04-05 13:00", "2026-04-05 12:00-2026-04-05 13:00"},
      {"UTC", "2026-02-28 23:59", "2026-03-01 00:01", "2026-02-28 23:59-2026-03-01 00:01"},
  };
  int run = 0;
  for (const auto& [zone, begins, ends, found] : rows) {
    ::setenv("TZ", zone, 1);
    std::filesystem::remove_all(root / "calendars");
    std::filesystem::create_directories(root / "calendars/work");
    const auto date = [](const char* text) { return "date \"" + std::string(text) + "\""; };
    make("summary:\"Lunch; \\\"late\\\", 😀\", start date:" + date(begins) + ", end date:" + date(ends));
    const auto theirs =
        Khal::list(root / "calendars/work", directory / ("khal" + std::to_string(++run)), zone,
                   "{start-date} {start-time}-{end-date} {end-time} {title}", "2026-02-01", "2026-12-01");
    EXPECT_THAT(theirs, HasSubstr(std::string(found) + " Lunch; \"late\", 😀")) << zone << begins;
    const auto ours = CalendarStore(root).filedEvents("work").at(0);
    const auto text = [](Dates::Instant at) {
      const auto local = Dates::local(at);
      return fmt::format("{}-{:02}-{:02} {:02}:{:02}", local.year, local.month, local.day, local.hour, local.minute);
    };
    EXPECT_EQ(text(ours.begins) + "-" + text(ours.ends), found);
  }
}

TEST_F(CalendarTest, givesCalendarsAndEvents) {
  put("calendars/work/displayname", "Work & more");
  put("calendars/work/color", "#ff8000\n");
  put("calendars/home/x.txt", "no");
  event("a",
        "SUMMARY:Ant\nDTSTART:20260314T080000Z\nDTEND:20260314T090000Z\nDTSTAMP:20260101T000000Z\nSEQUENCE:7\n"
        "STATUS:CANCELLED\nURL:https://a.example/;,\nLOCATION:Here\\, there\n");
  event("b", "SUMMARY:Bee\nDTSTART;VALUE=DATE:20260315\nRRULE:FREQ=DAILY\n");
  const std::string in = " of calendar \"work & more\"";
  const std::vector<Step> steps = {
      {"{name of calendars, id of calendar 2, color of calendar 2, writable of calendar 1}",
       "home, Work & more, work, 65535, 32896, 0, true"},
      {"name of (first calendar whose name is \"HOME\")", "home"},
      {"summary of events" + in, "Ant, Bee"},
      {"summary of (events" + in + " whose start date ≥ date \"2026-03-15\")", "Bee"},
      {"tell event 1" + in + " to {uid, url, location, status, sequence, description, recurrence, allday event}",
       "a, https://a.example/;,, Here, there, cancelled, 7, missing value, missing value, false"},
      {"tell event 2" + in + " to {recurrence, allday event, (end date) - (start date), status}",
       "FREQ=DAILY, true, 86400, none"},
      {"summary of event id \"b\"" + in, "Bee"},
      {"set e to event id \"a\"" + in +
           "\nset {end date of e, start date of e} to {date \"2026-03-16 12:00\", date \"2026-03-16 11:00\"}\n"
           "(start date of e) as string",
       "Monday, March 16, 2026 at 11:00:00 AM"},
      {"set e to event id \"a\"" + in + "\nset allday event of e to true\n(end date of e) - (start date of e)",
       "86400"},
      {"set e to event id \"a\"" + in + "\nset end date of e to date \"2026-03-18 10:00\"\n(end date of e) as string",
       "Thursday, March 19, 2026 at 12:00:00 AM"},
      {"set status of event id \"a\"" + in + " to confirmed\nset url of event id \"a\"" + in + " to missing value\n" +
           "{status, url} of event id \"a\"" + in,
       "confirmed, missing value"},
      {"set c to make new calendar with properties {name:\"Mine\"}\nset name of c to \"../yours\"\nname of calendars",
       "home, Work & more, ../yours"},
      {"set e to make new event at end of events of calendar \"../yours\" with properties {start date:date "
       "\"2026-03-14 09:00\"}\n(end date of e) - (start date of e)",
       "3600"},
      {"set c to calendar \"../yours\"\nset e to event 1 of c\ndelete e\n{exists e, count of events of c}", "false, 0"},
      {"set c to calendar \"../yours\"\nreload calendars\ndelete c\nname of calendars", "home, Work & more"},
  };
  for (const auto& [script, result] : steps) EXPECT_EQ(tell("Calendar", script), result) << script;
  EXPECT_EQ(Files::list(root / "calendars"), (std::vector<std::string>{"home", "work"}));
}

TEST_F(CalendarTest, changesOnlyTheLinesOfWhatIsSet) {
  const std::string keep =
      "x-Odd;P=\"a:b\":kept\\, as\n  it is\nSUMMARY;LANGUAGE=de:Alt\nDTSTART;TZID=America/New_York:20260314T100000\n";
  event("a", keep + "DURATION:PT1H\nBEGIN:VALARM\nTRIGGER:-PT5M\nEND:VALARM\n");
  tell("Calendar", "set summary of event 1 of calendar 1 to \"Neu\"");
  EXPECT_THAT(get("calendars/work/a.ics"), HasSubstr("BEGIN:VTIMEZONE\r\nTZID:America/New_York\r\n"));
  EXPECT_EQ(unmarked(events("a")),
            "BEGIN:VEVENT\nUID:a\nx-Odd;P=\"a:b\":kept\\, as\n  it is\nSUMMARY;LANGUAGE=de:Neu\n"
            "DTSTART;TZID=America/New_York:20260314T100000\nDURATION:PT1H\n"
            "BEGIN:VALARM\nTRIGGER:-PT5M\nEND:VALARM\nEND:VEVENT\n\n");
  tell("Calendar", "set start date of event 1 of calendar 1 to date \"2026-03-14 14:30\"");  // ends at 16:00 still
  EXPECT_THAT(events("a"), HasSubstr("\nDTSTART;TZID=America/New_York:20260314T093000\n"));
  EXPECT_THAT(events("a"), HasSubstr("\nDTEND;TZID=America/New_York:20260314T110000\n"));
  EXPECT_THAT(events("a"), Not(HasSubstr("DURATION")));

  // A zone that the file names, but neither it nor the system knows, isn't written again.
  event("a", "DTSTART;TZID=Nobody/Knows:20260314T100000\n");
  tell("Calendar", "set end date of event 1 of calendar 1 to date \"2026-03-14 16:00\"");
  tell("Calendar", "set start date of event 1 of calendar 1 to date \"2026-03-14 15:00\"");
  EXPECT_THAT(events("a"), HasSubstr("\nDTSTART:20260314T140000Z\n"));
  EXPECT_THAT(events("a"), HasSubstr("\nDTEND:20260314T150000Z\n"));
}

TEST_F(CalendarTest, repeatsOnTheOwnersClock) {
  std::filesystem::create_directories(root / "calendars/work");
  const std::string times = "start date:date \"2026-03-22 09:00\", end date:date \"2026-03-22 10:00\"";
  make("summary:\"a\", recurrence:\"FREQ=WEEKLY;COUNT=3\", " + times);
  make("summary:\"b\", " + times);
  tell("Calendar",
       "set e to first event of calendar 1 whose summary is \"b\"\nset recurrence of e to \"FREQ=DAILY\"\n"
       "set recurrence of e to \"FREQ=WEEKLY;COUNT=2\"");
  make("summary:\"c\", allday event:true, recurrence:\"FREQ=YEARLY;COUNT=1\", " + times);
  make("summary:\"d\", recurrence:\"FREQ=WEEKLY\", " + times);
  tell("Calendar", "set recurrence of (first event of calendar 1 whose summary is \"d\") to missing value");
  EXPECT_EQ(Khal::list(root / "calendars/work", directory / "khal", "Europe/Berlin",
                       "{start-date} {start-time}-{end-time} {title}", "2026-03-01", "2026-05-01"),
            "2026-03-22 - c\n2026-03-22 09:00-10:00 a\n2026-03-22 09:00-10:00 b\n2026-03-22 09:00-10:00 d\n"
            "2026-03-29 09:00-10:00 a\n2026-03-29 09:00-10:00 b\n2026-04-05 09:00-10:00 a");
  EXPECT_THAT(make("recurrence:\"every week\", " + times), HasSubstr("(-10006)"));
}

TEST_F(CalendarTest, changesAllOfAnEventThatRepeatsButItsStart) {
  const std::string weekly = "SUMMARY:w\nDTSTART:20260302T080000Z\nDTEND:20260302T090000Z\nRRULE:FREQ=WEEKLY\n";
  event("w", weekly + "END:VEVENT\nBEGIN:VEVENT\nUID:w\nRECURRENCE-ID:20260309T080000Z\nDTSTART:20260310T080000Z\n");
  EXPECT_EQ(tell("Calendar", "count of events of calendar 1"), "1");
  const auto before = get("calendars/work/w.ics");
  EXPECT_THAT(tell("Calendar", "set start date of event 1 of calendar 1 to date \"2026-03-02 08:00\""),
              MatchesRegex("Calendar got an error: The event repeats, .*\\(-10000\\)"));
  EXPECT_THAT(tell("Calendar", "set recurrence of event 1 of calendar 1 to missing value"), HasSubstr("(-10000)"));
  EXPECT_EQ(get("calendars/work/w.ics"), before);
  tell("Calendar", "set end date of event 1 of calendar 1 to date \"2026-03-02 12:00\"");
  const auto from = Dates::fromLocal({2026, 3, 16}), to = Dates::fromLocal({2026, 3, 17});
  const auto found = CalendarStore(root).events(from, to);
  ASSERT_EQ(found.size(), 1u);
  EXPECT_EQ(found[0].ends - found[0].begins, std::chrono::hours(3));
  tell("Calendar", "delete event 1 of calendar 1");
  EXPECT_FALSE(Files::exists(root / "calendars/work/w.ics"));
}

TEST_F(CalendarTest, deletesJustThoseOfAFileOfMany) {
  std::string all;
  for (const char* name : {"a", "b", "c", "d"})
    all += "BEGIN:VEVENT\nSUMMARY:" + std::string(name) + "\nDTSTART:20260314T080000Z\nEND:VEVENT\n";  // without UIDs
  put("calendars/work/all.ics", file(all));
  EXPECT_EQ(tell("Calendar",
                 "set some_ to {event 1, event 3} of calendar 1\n"
                 "set last_ to event 4 of calendar 1\nrepeat with e in some_\ndelete e\nend repeat\n"
                 "set summary of last_ to \"e\"\nsummary of events of calendar 1"),
            "b, e");
  EXPECT_THAT(events("all"), MatchesRegex("BEGIN:VEVENT\nSUMMARY:b\n.*SUMMARY:e\n.*"));
}

TEST_F(CalendarTest, refusesWhatCannotBe) {
  event("a", "DTSTART:20260314T080000Z\nDTEND:20260314T090000Z\n");
  const auto before = get("calendars/work/a.ics");
  const std::string e = "event 1 of calendar \"work\"";
  const std::vector<Step> steps = {
      {"tell calendar \"nobody\" to make new event with properties {start date:current date}", "-1728"},
      {"name of (first calendar whose name is \"nobody\")", "-1719"},
      {"event 2 of calendar 1", "-1719"},
      {"event id \"b\" of calendar 1", "-1728"},
      {"make new event with properties {start date:current date}", "-10000"},
      {"tell calendar 1 to make new event with properties {summary:\"when?\"}", "-10000"},
      {"tell calendar 1 to make new event with properties {start date:current date, end date:(current date) - 1}",
       "-10025"},
      {"tell calendar 1 to make new event with properties {start date:\"soon\"}", "-1700"},
      {"tell calendar 1 to make new event with properties {start date:current date, uid:\"x\"}", "-10006"},
      {"set start date of " + e + " to date \"2026-03-14 11:00\"", "-10025"},
      {"set uid of " + e + " to \"x\"", "-10003"},
      {"set name of calendar 1 to \"  \"", "-10006"},
      {"set e to " + e + "\ndo shell script \"echo >> " + (root / "calendars/work/a.ics").string() +
           "\"\nset summary of e to \"x\"",
       "-10000"},
  };
  for (const auto& [script, number] : steps)
    EXPECT_THAT(tell("Calendar", script), MatchesRegex(".*\\(" + number + "\\)")) << script;
  EXPECT_EQ(get("calendars/work/a.ics").substr(0, before.size()), before);
  EXPECT_EQ(Files::list(root / "calendars/work"), std::vector<std::string>{"a.ics"});
}

}  // namespace
