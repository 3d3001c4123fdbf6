// Guards the owner's calendars: what is found in a span, what a change leaves on disk, and what is never written over.
#include <atomic>
#include <chrono>
#include <thread>

#include "Platform/Text.h"
#include "tests/calendar/CalendarDesk.h"

namespace {

class CalendarStoreTest : public CalendarDesk {};

TEST_F(CalendarStoreTest, findsWhatOverlapsTheSpan) {
  struct Row {
    const char *lines, *from, *to;
    bool isFound;
  };
  const Row rows[] = {
      {"DTSTART:20260314T090000\nDTEND:20260314T100000", "2026-03-14 09:59", "2026-03-15", true},  // under way
      {"DTSTART:20260314T090000\nDTEND:20260314T100000", "2026-03-14 10:00", "2026-03-15", false},
      {"DTSTART:20260314T090000\nDTEND:20260314T100000", "2026-03-13", "2026-03-14 09:00", true},
      {"DTSTART:20260314T090000\nDTEND:20260314T100000", "2026-03-13", "2026-03-14 08:59", false},
      {"DTSTART:20260314T090000", "2026-03-14 09:00", "2026-03-14 09:00", true},  // takes no time
      {"DTSTART;VALUE=DATE:20260314", "2026-03-14 23:00", "2026-03-15", true},
      {"DTSTART;VALUE=DATE:20260314", "2026-03-15 00:00", "2026-03-15 01:00", false},
      {"DTSTART;VALUE=DATE:20260301\nDTEND;VALUE=DATE:20260315", "2026-03-14 23:00", "2026-03-15", true},
      {"DTSTART;VALUE=DATE:20260301\nDURATION:P2W", "2026-03-14 23:00", "2026-03-15", true},
      {"DTSTART:20260101T000000Z\nDURATION:P10000D", "2040-01-01", "2040-01-02", true},
      {"DTSTART:20260314T223000\nDURATION:PT1H", "2026-03-14 23:15", "2026-03-15", true},
      {"DTSTART:20260314T090000\nDTEND:20260314T080000", "2026-03-14 08:30", "2026-03-15", true},  // ends too early
      {"DTSTART;TZID=America/New_York:20260314T180000", "2026-03-14 23:00", "2026-03-14 23:00", true},
      {"DTSTART;TZID=Nobody/Knows:20260314T180000", "2026-03-14 18:00", "2026-03-14 18:00", true},
      {"DTSTART:20260314T090000\nSTATUS:CANCELLED", "2026-03-14", "2026-03-15", false},
      {"DTSTART:20260301T090000\nRRULE:FREQ=DAILY;UNTIL=20260313T080000Z", "2026-03-14", "2026-04-15", false},
      {"DTSTART:20260301T090000\nRRULE:FREQ=DAILY;UNTIL=20260314T080000Z", "2026-03-14", "2026-04-15", true},
      {"DTSTART:19700101T090000\nDURATION:P3D\nRRULE:FREQ=YEARLY", "2026-01-04 08:00", "2026-01-05", true},
      {"dtstart:20260101T090000\nrrule:FREQ=MONTHLY", "2026-03-01", "2026-03-02", true},
      {"DTSTART:20260\n 101T090000\nRRULE:FREQ=MONTHLY;UNT\n IL=20260301T235959", "2026-03-01", "2026-03-02", true},
      // Not valid
      {"DTSTART:20260230T090000", "2026-02-01", "2026-04-01", false},
      {"DTSTART:20260314T250000", "2026-02-01", "2026-04-01", false},
      {"DTSTART:20260314T090000\nDURATION:1H", "2026-02-01", "2026-04-01", false},
      {"DTSTART:20260314T090000\nRRULE:DAILY", "2026-02-01", "2026-04-01", false},
      {"DTSTART:20260314T090000\nthis is no line", "2026-02-01", "2026-04-01", false},
      {"SUMMARY:when?", "0001-01-01", "9999-01-01", false},
  };
  for (const auto& row : rows) {
    event("a", row.lines);
    EXPECT_EQ(!store.events(at(row.from), at(row.to)).empty(), row.isFound) << row.lines << " in " << row.from;
  }
  EXPECT_TRUE(store.events(Dates::Instant::min(), Dates::Instant::max()).empty());
}

TEST_F(CalendarStoreTest, keepsTheClockAcrossItsChanges) {
  event("local", "DTSTART;TZID=Europe/Berlin:20260327T023000\nDURATION:PT1H\nRRULE:FREQ=DAILY;COUNT=4");
  EXPECT_EQ(found("2026-03-01", "2026-04-30"),
            "03-27 02:30 local, 03-28 02:30 local, 03-29 03:30 local, 03-30 02:30 local");
  event("local", "DTSTART;TZID=Europe/Berlin:20261024T023000\nDURATION:PT1H\nRRULE:FREQ=DAILY;COUNT=3");
  const auto autumn = eventsOf("2026-10-01", "2026-10-30");
  ASSERT_EQ(autumn.size(), 3u);
  EXPECT_EQ(autumn[1].begins - autumn[0].begins, std::chrono::hours(24));  // the first 02:30 of two
  EXPECT_EQ(autumn[2].begins - autumn[1].begins, std::chrono::hours(25));
  // New York changes two weeks earlier.
  event("local", "DTSTART;TZID=America/New_York:20260305T100000\nRRULE:FREQ=WEEKLY;COUNT=5");
  EXPECT_EQ(found("2026-03-01", "2026-04-30"),
            "03-05 16:00 local, 03-12 15:00 local, 03-19 15:00 local, 03-26 15:00 local, 04-02 16:00 local");
  // An end by DTEND keeps the length, an end in days the time of day.
  event("local", "DTSTART;TZID=Europe/Berlin:20260328T120000\nDURATION:P1D");
  EXPECT_EQ(text(eventsOf("2026-03-28", "2026-03-30").at(0).ends), "03-29 12:00");
  // Floating times and days go with the owner.
  event("local", "DTSTART:20260314T090000");
  event("day", "DTSTART;VALUE=DATE:20260314");
  for (const char* where : {"Pacific/Auckland", "America/Los_Angeles", "UTC"}) {
    zone(where);
    EXPECT_EQ(found("2026-03-14", "2026-03-14 10:00"), "03-14 00:00 day, 03-14 09:00 local") << where;
  }
}

TEST_F(CalendarStoreTest, readsTheZonesThatAFileDefines) {
  const std::string zone =
      "BEGIN:VTIMEZONE\nTZID:Ours\nBEGIN:STANDARD\nDTSTART:16011028T030000\nTZOFFSETFROM:+0330\nTZOFFSETTO:+0230\n"
      "RRULE:FREQ=YEARLY;BYDAY=-1SU;BYMONTH=10\nEND:STANDARD\nBEGIN:DAYLIGHT\nDTSTART:16010325T020000\n"
      "TZOFFSETFROM:+0230\nTZOFFSETTO:+0330\nRRULE:FREQ=YEARLY;BYDAY=-1SU;BYMONTH=3\nEND:DAYLIGHT\nEND:VTIMEZONE\n";
  put("calendars/work/a.ics", file(zone + "BEGIN:VEVENT\nUID:a\nSUMMARY:a\nDTSTART;TZID=Ours:20260301T120000\n"
                                          "RRULE:FREQ=MONTHLY\nEND:VEVENT"));
  CalendarDesk::zone("UTC");
  EXPECT_EQ(found("2026-03-01", "2026-04-02"), "03-01 09:30 a, 04-01 08:30 a");
  EXPECT_EQ(found("4026-03-31", "4026-04-02"), "04-01 08:30 a");
  // A zone by the maker's name for a known one
  event("a", "DTSTART;TZID=/mozilla.org/20071231_1/America/Argentina/Buenos_Aires:20260301T120000");
  EXPECT_EQ(found("2026-03-01", "2026-04-02"), "03-01 15:00 a");
  event("a", "DTSTART;TZID=\"../../../../etc/passwd\":20260301T120000");
  EXPECT_EQ(found("2026-03-01", "2026-04-02"), "03-01 12:00 a");
}

TEST_F(CalendarStoreTest, followsWhatIsAddedExceptedAndMoved) {
  const std::string weekly = "DTSTART;TZID=Europe/Berlin:20260302T090000\nDTEND;TZID=Europe/Berlin:20260302T100000\n";
  event("w", weekly +
                 "RRULE:FREQ=WEEKLY;COUNT=4\nEXDATE;TZID=Europe/Berlin:20260309T090000\n"
                 "EXDATE:20260316T080000Z\nRDATE;VALUE=PERIOD:20260320T110000Z/PT2H\nRDATE:20260302T080000Z");
  EXPECT_EQ(found("2026-03-01", "2026-04-30"), "03-02 09:00 w, 03-20 12:00 w, 03-23 09:00 w");
  EXPECT_EQ(text(eventsOf("2026-03-20", "2026-03-21").at(0).ends), "03-20 14:00");
  event("w", weekly + "RRULE:FREQ=WEEKLY;COUNT=3\nEXDATE;VALUE=DATE:20260309");
  EXPECT_EQ(found("2026-03-01", "2026-04-30"), "03-02 09:00 w, 03-16 09:00 w");
  event("w", weekly + "RRULE:FREQ=DAILY;COUNT=5\nEXRULE:FREQ=DAILY;INTERVAL=2");
  EXPECT_EQ(found("2026-03-01", "2026-04-30"), "03-03 09:00 w, 03-05 09:00 w");

  const auto with = [&](const std::string& lines, const std::string& title) {
    return "\nEND:VEVENT\nBEGIN:VEVENT\nUID:w\nSUMMARY:" + title + "\n" + lines;
  };
  event("w", weekly + "RRULE:FREQ=WEEKLY;COUNT=5" +
                 with("RECURRENCE-ID:20260309T080000Z\nDTSTART:20260501T080000Z", "out") +
                 with("RECURRENCE-ID;TZID=Europe/Berlin:20260316T090000\nDTSTART:20260304T080000Z", "in") +
                 with("RECURRENCE-ID;RANGE=THISANDFUTURE:20260323T080000Z\n"
                      "DTSTART;TZID=Europe/Berlin:20260324T140000\nDURATION:PT3H",
                      "later"));
  EXPECT_EQ(found("2026-03-01", "2026-03-22"), "03-02 09:00 w, 03-04 09:00 in");
  EXPECT_EQ(found("2026-03-22", "2026-05-30"), "03-24 14:00 later, 03-31 14:00 later, 05-01 10:00 out");
  EXPECT_EQ(found("2026-03-31 16:59", "2026-03-31 17:00"), "03-31 14:00 later");
  // A date names the occurrence of that day.
  event("w", weekly + "RRULE:FREQ=WEEKLY;COUNT=2" +
                 with("RECURRENCE-ID;VALUE=DATE:20260309\nDTSTART:20260310T080000Z", "x"));
  EXPECT_EQ(found("2026-03-01", "2026-03-22"), "03-02 09:00 w, 03-10 09:00 x");
  // An invitation to a single occurrence has nothing that repeats.
  event("w", "RECURRENCE-ID:20260309T080000Z\nDTSTART:20260309T080000Z");
  EXPECT_EQ(found("2026-03-01", "2026-04-30"), "03-09 09:00 w");
}

// ---- Changes.

const std::string odd =
    "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Other//EN\r\nX-WR-CALNAME:Odd\r\nBEGIN:VEVENT\r\nUID:one\r\n"
    "DTSTAMP:20250101T000000Z\r\nx-odd;X=\"a:b;c\":keep\\, \\; \\\\\r\n  this\r\nSummary;LANGUAGE=en:Dentist\r\n"
    "DTSTART:20260314T090000Z\r\nDTEND:20260314T100000Z\r\nSEQUENCE:4\r\nLAST-MODIFIED:20250101T000000Z\r\n"
    "BEGIN:VALARM\r\nACTION:DISPLAY\r\nTRIGGER:-PT5M\r\nEND:VALARM\r\nBEGIN:X-MORE\r\nX-A:1\r\nEND:X-MORE\r\n"
    "END:VEVENT\r\nEND:VCALENDAR\r\n";

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  return text.replace(text.find(from), from.size(), to);
}

TEST_F(CalendarStoreTest, writesOnlyTheLinesThatChange) {
  put("calendars/work/one.ics", odd);
  const Dates::FixedClock clock(at("2026-03-01 12:00"));
  auto event = eventsOf("2026-03-14", "2026-03-15").at(0);
  event.title = "Zahnarzt; bei Dr. Ä\u00F6\u00FC, zweiter Stock, die Treppe hinauf und gleich links 😀😀😀";
  event.url = "https://example.org/a;b,c";
  store.save(event);
  auto expected = replaced(odd, "DTSTAMP:20250101T000000Z", "DTSTAMP:20260301T110000Z");
  expected = replaced(expected, "LAST-MODIFIED:20250101T000000Z", "LAST-MODIFIED:20260301T110000Z");
  expected = replaced(expected, "SEQUENCE:4", "SEQUENCE:5");
  expected = replaced(expected, "Summary;LANGUAGE=en:Dentist\r\n",
                      "SUMMARY;LANGUAGE=en:Zahnarzt\\; bei Dr. Äöü\\, zweiter Stock\\, die Treppe \r\n"
                      " hinauf und gleich links 😀😀😀\r\n");
  expected = replaced(expected, "BEGIN:VALARM", "URL:https://example.org/a;b,c\r\nBEGIN:VALARM");
  EXPECT_EQ(get("calendars/work/one.ics"), expected);
  EXPECT_EQ(eventsOf("2026-03-14", "2026-03-15").at(0).title, event.title);
  event.url = std::nullopt;  // and once more with what we have in hand
  store.save(event);
  EXPECT_EQ(get("calendars/work/one.ics").find("URL"), std::string::npos);
}

TEST_F(CalendarStoreTest, changesOneOccurrenceByItsOwnComponent) {
  event("w",
        "DTSTART;TZID=Europe/Berlin:20260302T090000\nDTEND;TZID=Europe/Berlin:20260302T100000\n"
        "RRULE:FREQ=WEEKLY\nX-KEEP:1\nBEGIN:VALARM\nTRIGGER:-PT5M\nEND:VALARM");
  const auto before = get("calendars/work/w.ics");
  auto event = eventsOf("2026-04-06", "2026-04-07").at(0);
  event.title = "other";
  store.save(event);
  auto written = get("calendars/work/w.ics");
  EXPECT_THAT(written, testing::HasSubstr("RECURRENCE-ID;TZID=Europe/Berlin:20260406T090000\n"));
  EXPECT_THAT(written, testing::HasSubstr("DTEND;TZID=Europe/Berlin:20260406T100000\n"));
  EXPECT_THAT(written, testing::HasSubstr("BEGIN:VTIMEZONE\r\nTZID:Europe/Berlin\r\n"));
  // But for the two new components nothing is another.
  auto rest = replaced(
      written,
      written.substr(written.rfind("BEGIN:VEVENT"), written.rfind("END:VCALENDAR") - written.rfind("BEGIN:VEVENT")),
      "");
  rest = replaced(
      rest, rest.substr(rest.find("BEGIN:VTIMEZONE"), rest.find("BEGIN:VEVENT") - rest.find("BEGIN:VTIMEZONE")), "");
  EXPECT_EQ(rest, before);
  EXPECT_EQ(found("2026-03-30", "2026-04-14"), "03-30 09:00 w, 04-06 09:00 other, 04-13 09:00 w");
  event.title = "again";
  store.save(event);
  EXPECT_EQ(found("2026-03-30", "2026-04-14"), "03-30 09:00 w, 04-06 09:00 again, 04-13 09:00 w");
  store.remove(event);
  EXPECT_EQ(found("2026-03-30", "2026-04-14"), "03-30 09:00 w, 04-13 09:00 w");
  EXPECT_THAT(get("calendars/work/w.ics"), testing::HasSubstr("EXDATE;TZID=Europe/Berlin:20260406T090000\n"));
  store.remove(eventsOf("2026-04-13", "2026-04-14").at(0));
  EXPECT_EQ(found("2026-03-30", "2026-04-21"), "03-30 09:00 w, 04-20 09:00 w");

  put("calendars/work/w.ics",
      file("BEGIN:VEVENT\nUID:d\nSUMMARY:d\nDTSTART;VALUE=DATE:20260302\nRRULE:FREQ=DAILY\nEND:VEVENT\n"
           "BEGIN:VEVENT\nUID:d\nSUMMARY:moved\nRECURRENCE-ID;VALUE=DATE;RANGE=THISANDFUTURE:20260310\n"
           "DTSTART;VALUE=DATE:20260311\nEND:VEVENT"));
  event = eventsOf("2026-03-12", "2026-03-12 01:00").at(0);
  event.title = "mine";
  store.save(event);
  EXPECT_THAT(get("calendars/work/w.ics"), testing::HasSubstr("RECURRENCE-ID;VALUE=DATE:20260311\n"));
  EXPECT_EQ(found("2026-03-09", "2026-03-13"), "03-09 00:00 d, 03-11 00:00 moved, 03-12 00:00 mine, 03-13 00:00 moved");
}

TEST_F(CalendarStoreTest, removesTheFileWithItsLastItemOnly) {
  const std::string two = "BEGIN:VEVENT\nUID:a\nSUMMARY:a\nDTSTART:20260314T090000\nEND:VEVENT\n";
  const std::string other = "BEGIN:VEVENT\nUID:b\nSUMMARY:b\nDTSTART:20260314T100000\nEND:VEVENT";
  put("calendars/work/export.ics", file(two + other));
  const auto events = eventsOf("2026-03-14", "2026-03-15");
  store.remove(events.at(0));
  EXPECT_EQ(get("calendars/work/export.ics"), file(other));
  store.remove(events.at(1));
  EXPECT_FALSE(Files::exists(root / "calendars/work/export.ics"));
  const std::string moved = "BEGIN:VEVENT\nUID:c\nRECURRENCE-ID:20260314T090000\nDTSTART:20260314T110000\nEND:VEVENT\n";
  const std::string daily = "BEGIN:VEVENT\nUID:c\nDTSTART:20260314T090000\nRRULE:FREQ=DAILY\nEND:VEVENT\n";
  put("calendars/work/twice.ics", file(daily + moved + moved));  // one occurrence, told of twice
  store.remove(store.filedEvents("work").at(0));
  EXPECT_FALSE(Files::exists(root / "calendars/work/twice.ics"));
}

TEST_F(CalendarStoreTest, neverWritesOverWhatIsDamagedOrChanged) {
  put("calendars/work/one.ics", odd);
  auto event = eventsOf("2026-03-14", "2026-03-15").at(0);
  const auto other = replaced(odd, "Dentist", "Theirs");
  put("calendars/work/one.ics", other);
  EXPECT_THROW(store.save(event), Error);
  EXPECT_THROW(store.remove(event), Error);
  EXPECT_EQ(get("calendars/work/one.ics"), other);
  for (std::size_t cut = 0; cut < odd.find("END:VCALENDAR") + 12; cut = odd.find('\n', cut) + 1) {
    put("calendars/work/one.ics", odd.substr(0, cut));
    EXPECT_EQ(found("2026-03-14", "2026-03-15"), "") << cut;
    EXPECT_THROW(store.save(event), Error);
    EXPECT_EQ(get("calendars/work/one.ics"), odd.substr(0, cut));
  }
  std::filesystem::remove(root / "calendars/work/one.ics");
  EXPECT_THROW(store.save(event), Error);
  EXPECT_FALSE(Files::exists(root / "calendars/work/one.ics"));
}

TEST_F(CalendarStoreTest, losesNoneOfManyChangesAtOnce) {
  event("w", "DTSTART:20260302T090000Z\nRRULE:FREQ=DAILY;COUNT=80");
  std::atomic<std::size_t> removed = 0;
  const auto remove = [&](bool isFirst) {
    for (int turn = 0; turn < 30; ++turn) try {
        CalendarStore own(root);
        const auto events = own.events(at("2026-03-01"), at("2026-06-30"));
        own.remove(isFirst ? events.front() : events.back());
        ++removed;
      } catch (const Error&) {  // refused: another was first
      }
  };
  std::thread other(remove, true);
  remove(false);
  other.join();
  EXPECT_EQ(eventsOf("2026-03-01", "2026-06-30").size(), 80 - removed);
}

TEST_F(CalendarStoreTest, bearsWhatNobodyWouldWrite) {
  const std::string one = "BEGIN:VEVENT\nUID:m\nDTSTART:10000101T000000Z\nRRULE:FREQ=DAILY\nEND:VEVENT";
  std::string many, nested;
  for (int year = 1000; year < 9999; ++year)
    many +=
        fmt::format("BEGIN:VEVENT\nUID:m\nRECURRENCE-ID:{0}0101T000000Z\nDTSTART:{0}0101T000000Z\nEND:VEVENT\n", year);
  for (int depth = 0; depth < 100'000; ++depth) nested += "BEGIN:VEVENT\n";
  const auto title = [](const std::string& text) {
    return file("BEGIN:VEVENT\nDTSTART:20260314T090000\nSUMMARY:" + text + "\nEND:VEVENT");
  };
  put("calendars/work/many.ics", file(many + one));
  put("calendars/work/nested.ics", file(nested));
  std::string zoned;
  for (int number = 0; number < 3'000; ++number)
    zoned += fmt::format(
        "BEGIN:VTIMEZONE\nTZID:{0}\nBEGIN:STANDARD\nDTSTART:16010101T000000\nTZOFFSETFROM:+0100\nTZOFFSETTO:+0200\n"
        "RRULE:FREQ=YEARLY;BYDAY=MO\nEND:STANDARD\nEND:VTIMEZONE\n"
        "BEGIN:VEVENT\nUID:{0}\nDTSTART;TZID={0}:20260301T000000\nRRULE:FREQ=MONTHLY\nEND:VEVENT\n",
        number);
  put("calendars/work/zoned.ics", file(zoned));
  put("calendars/work/long.ics", title(std::string(3'000'000, 'x')));
  put("calendars/work/folds.ics", title(Text::replaceAll(std::string(300'000, 'x'), "x", "\n ")));
  event("ages", "DTSTART:20260314T090000Z\nDURATION:P99999D\nRRULE:FREQ=SECONDLY");
  event("ever", "DTSTART:00010101T000000Z\nDTEND:99991231T000000Z\nRRULE:FREQ=DAILY\nSUMMARY:\xFF\xFE");
  const auto began = std::chrono::steady_clock::now();
  EXPECT_EQ(store.events(at("2026-03-14"), at("2026-03-15")).size(), 3u);
  EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(20));  // with sanitizers
}

TEST_F(CalendarStoreTest, letsNoEventTakeTheOthersAway) {
  std::string hostile;
  for (int number = 0; number < 1'000; ++number)
    hostile += fmt::format("BEGIN:VEVENT\nUID:{0}\nDTSTART:202603{1}T000000Z\nRRULE:FREQ=SECONDLY\nEND:VEVENT\n",
                           number, number % 2 == 0 ? "14" : "11");
  put("calendars/work/hostile.ics", file(hostile));
  event("long", "DTSTART:20260314T080000Z\nRRULE:FREQ=MINUTELY\nDESCRIPTION:" + std::string(100'000, 'x'));
  event("standup", "DTSTART:20190314T080000Z\nRRULE:FREQ=DAILY;COUNT=4000\nDESCRIPTION:" + std::string(5'000, 'x'));
  const auto began = std::chrono::steady_clock::now();
  EXPECT_EQ(found("2026-03-14", "2026-03-15"), "03-14 09:00 standup");
  EXPECT_EQ(store.events(at("2026-03-14"), at("2026-03-28")).size(), 14u);
  EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(20));  // with sanitizers

  std::string endless;
  for (int number = 0; number < 2'000; ++number)
    endless += fmt::format("BEGIN:VEVENT\nUID:{}\nDTSTART:20260314T080000Z\nRRULE:FREQ=DAILY\nEND:VEVENT\n", number);
  std::filesystem::remove(root / "calendars/work/hostile.ics");
  put("calendars/work/endless.ics", file(endless));
  EXPECT_EQ(store.events(at("2026-03-14"), at("2026-04-13")).size(), 30u * 2'001);
  try {
    store.events(at("2026-03-14"), at("2126-03-14"));
    ADD_FAILURE() << "all of them were given";
  } catch (const Error& error) {
    EXPECT_THAT(error.description(), testing::HasSubstr("Ask for fewer days"));
    EXPECT_THAT(error.description(), testing::HasSubstr("calendars/work/endless.ics"));
  }
}

}  // namespace
