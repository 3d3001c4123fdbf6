// Guards the agent's door to calendars and reminders: nothing without access, one occurrence at a time, removals in one
// batch, and files that khal reads as we do.
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <functional>

#include "Platform/EventKit.h"
#include "Platform/Text.h"
#include "Platform/linux/stores/Permissions.h"
#include "tests/calendar/CalendarDesk.h"
#include "tests/calendar/Khal.h"

namespace {

class EventKitTest : public CalendarDesk {
 protected:
  /// reminders/<list>/<name>.ics with one to-do
  void todo(const std::string& place, const std::string& lines) const {
    put("reminders/" + place + ".ics",
        file("BEGIN:VTODO\nUID:" + place + "\nSUMMARY:" + place + "\n" + lines + "\nEND:VTODO"));
  }
  std::vector<EKReminder> reminders() {
    std::vector<EKReminder> all;
    kit.fetchReminders(kit.predicateForReminders(), [&](auto found) { all = std::move(found); });
    return all;
  }
  static std::string text(const EKReminder& reminder) {
    const auto& due = reminder.dueDateComponents;
    auto result = reminder.calendar.title + (reminder.isCompleted ? " done " : " ") + reminder.title.value_or("?");
    if (due) result += fmt::format(" {}-{}-{}", due->year, due->month, due->day);
    if (due && due->hour) result += fmt::format(" {}:{:02}", *due->hour, *due->minute);
    for (const auto& alarm : reminder.alarms)
      result += alarm.absoluteDate ? " !" + CalendarDesk::text(*alarm.absoluteDate) : " !relative";
    return result;
  }
  /// What a to-do says of its times.
  std::string times(const std::string& place) const {
    std::string result;
    const auto written = get("reminders/" + place + ".ics");
    for (const auto& line : Text::split(written.substr(written.find("BEGIN:VTODO")), '\n'))
      if (line.starts_with("DTSTART") || line.starts_with("DU")) result += line + "\n";
    return result;
  }

  EKEventStore kit;
};

TEST_F(EventKitTest, letsNobodyInWithoutAccess) {
  event("a", "DTSTART:20260314T090000");
  todo("home/t", "DUE:20260314T090000");
  const auto found = [&] {
    return kit.events(kit.predicateForEvents(at("2026-03-14"), at("2026-03-15"))).size() + reminders().size() +
           kit.calendars(EKEntityType::event).size() + kit.calendars(EKEntityType::reminder).size();
  };
  const auto ask = [&](EKEntityType entity) {
    std::string answer;
    const auto completion = [&](bool isGranted, const std::optional<Error>& failure) {
      answer = failure ? failure->description() : isGranted ? "granted" : "refused";
    };
    if (entity == EKEntityType::event)
      kit.requestFullAccessToEvents(completion);
    else
      kit.requestFullAccessToReminders(completion);
    return answer;
  };
  EXPECT_EQ(found(), 4u);  // nothing is said
  const auto event = kit.events(kit.predicateForEvents(at("2026-03-14"), at("2026-03-15"))).at(0);
  const auto reminder = reminders().at(0);

  struct Row {
    const char* entry;
    EKAuthorizationStatus before;
    const char* answer;
    EKAuthorizationStatus after;
  };
  using Status = EKAuthorizationStatus;
  const Row rows[] = {
      {R"({"access": "not determined", "consent": "give"})", Status::notDetermined, "granted", Status::fullAccess},
      {R"({"access": "not determined", "consent": "refuse"})", Status::notDetermined, "refused", Status::denied},
      {R"({"access": "not determined"})", Status::notDetermined, "refused", Status::notDetermined},
      {R"({"access": "write only", "consent": "give"})", Status::writeOnly, "granted", Status::fullAccess},
      {R"({"access": "restricted", "consent": "give"})", Status::restricted, "refused", Status::restricted},
      {R"({"access": "denied", "consent": "give"})", Status::denied, "refused", Status::denied},
      {R"({"access": "full access"})", Status::fullAccess, "granted", Status::fullAccess},
      {R"({"access": 3})", Status::denied, "refused", Status::denied},
      {R"("full access")", Status::denied, "refused", Status::denied},
  };
  for (const auto& row : rows) {
    for (const auto entity : {EKEntityType::event, EKEntityType::reminder}) {
      const std::string entry = row.entry;
      put("permissions.json", R"({"mine": 1, "events": )" + entry + R"(, "reminders": )" + entry + "}");
      EXPECT_EQ(EKEventStore::authorizationStatus(entity), row.before) << entry;
      if (row.before != Status::fullAccess) {
        EXPECT_EQ(found(), 0u) << entry;
        EXPECT_THROW(kit.save(event, EKSpan::thisEvent), Error);
        EXPECT_THROW(kit.remove(event, EKSpan::thisEvent), Error);
        EXPECT_THROW(kit.save(reminder), Error);
        EXPECT_THROW(kit.remove(reminder), Error);
      }
      EXPECT_EQ(ask(entity), row.answer) << entry;
      EXPECT_EQ(EKEventStore::authorizationStatus(entity), row.after) << entry;
      EXPECT_THAT(get("permissions.json"), testing::HasSubstr("\"mine\": 1"));
    }
  }
  put("permissions.json", "{\"events\": {\"access\": \"full acc");
  EXPECT_EQ(EKEventStore::authorizationStatus(EKEntityType::event), Status::denied);
  EXPECT_THROW(Permissions::set(Permissions::Subject::events, Permissions::Access::full), Error);
}

TEST_F(EventKitTest, readsWhatRemindersSay) {
  put("reminders/home/displayname", "Zu Hause");
  todo("home/a", "DUE;VALUE=DATE:20260314");
  todo("home/b", "DUE:20260314T093000Z\nSTATUS:COMPLETED");
  todo("home/c",
       "DUE;TZID=America/New_York:20260314T180000\nCOMPLETED:20260314T000000Z\nSTATUS:NEEDS-ACTION\n"
       "BEGIN:VALARM\nTRIGGER;VALUE=DATE-TIME:20260314T080000Z\nEND:VALARM\n"
       "BEGIN:VALARM\nTRIGGER:-PT15M\nEND:VALARM");
  todo("home/d", "COMPLETED:20260314T000000Z");
  todo("work/e",
       "RRULE:FREQ=DAILY\nDTSTART:20260314T090000\nEND:VTODO\nBEGIN:VTODO\nUID:work/e\nRECURRENCE-ID:20260315T090000");
  put("reminders/work/broken.ics", "BEGIN:VCALENDAR\nBEGIN:VTODO\nSUMMARY:x\nEND:VCALENDAR\n");
  std::string all;
  for (const auto& reminder : reminders()) all += text(reminder) + "\n";
  EXPECT_EQ(all,
            "Zu Hause home/a 2026-3-14\nZu Hause done home/b 2026-3-14 10:30\n"
            "Zu Hause home/c 2026-3-14 23:00 !03-14 09:00 !relative\nZu Hause done home/d\nwork work/e\n");
}

TEST_F(EventKitTest, movesADueDateAndWhatHangsOnIt) {
  struct Row {
    const char* before;
    EKDateComponents due;
    const char* after;
  };
  const EKDateComponents day{2026, 4, 1, {}, {}, {}}, time{2026, 4, 1, 9, 30, {}}, none{2026, 2, 30, {}, {}, {}};
  const Row rows[] = {
      {"DUE;VALUE=DATE:20260314\n", day, "DUE;VALUE=DATE:20260401\n"},
      {"DUE;VALUE=DATE:20260314\n", none, "DUE;VALUE=DATE:20260302\n"},
      {"DUE;VALUE=DATE:20260314\n", time, "DUE:20260401T073000Z\n"},
      {"DUE;TZID=America/New_York:20260314T180000\n", time, "DUE;TZID=America/New_York:20260401T033000\n"},
      {"DUE:20260314T180000\n", time, "DUE:20260401T093000\n"},
      {"DUE;TZID=America/New_York:20260314T180000\n", day, "DUE;VALUE=DATE:20260401\n"},
      {"DTSTART:20260313T120000Z\nDUE:20260314T120000Z\n", time, "DTSTART:20260331T073000Z\nDUE:20260401T073000Z\n"},
      {"DTSTART;VALUE=DATE:20260314\nDUE;VALUE=DATE:20260314\n", time,
       "DTSTART:20260401T073000Z\nDUE:20260401T073000Z\n"},
      {"DTSTART:20260313T120000Z\nDURATION:P1D\n", day, "DTSTART;VALUE=DATE:20260313\nDUE;VALUE=DATE:20260401\n"},
      {"DUE;TZID=Nobody/Knows:20260314T180000\n", time, "DUE:20260401T073000Z\n"},
      {"X-A:1\n", time, "DUE:20260401T073000Z\n"},
  };
  for (const auto& row : rows) {
    todo("home/t", row.before + std::string("X-B:1"));
    auto reminder = reminders().at(0);
    reminder.dueDateComponents = row.due;
    kit.save(reminder);
    EXPECT_EQ(times("home/t"), row.after) << row.before;
    const auto written = get("reminders/home/t.ics");
    EXPECT_EQ(written.find("TZID=") != std::string::npos, written.find("BEGIN:VTIMEZONE") != std::string::npos);
  }
  auto late = reminders().at(0);
  late.dueDateComponents = EKDateComponents{9999, 12, 31, {}, {}, {}};
  EXPECT_THROW(kit.save(late), Error);  // rather than another date, without a word
  todo("home/t",
       "DUE:20260314T093000Z\nBEGIN:VALARM\nTRIGGER;VALUE=DATE-TIME:20260314T080000Z\nEND:VALARM\n"
       "BEGIN:VALARM\nTRIGGER:-PT15M\nEND:VALARM");
  auto reminder = reminders().at(0);
  reminder.alarms.at(0).absoluteDate = at("2026-04-01 10:00");
  kit.save(reminder);
  EXPECT_EQ(text(reminders().at(0)), "home home/t 2026-3-14 10:30 !04-01 10:00 !relative");
}

TEST_F(EventKitTest, removesInOneBatchOrNotAtAll) {
  const auto two = file(
      "BEGIN:VTODO\nUID:1\nSUMMARY:1\nEND:VTODO\nBEGIN:VTODO\nUID:2\nSUMMARY:2\nEND:VTODO\n"
      "BEGIN:VTODO\nSUMMARY:3\nEND:VTODO\nBEGIN:VTODO\nSUMMARY:4\nEND:VTODO");
  put("reminders/home/all.ics", two);
  todo("home/other", "");
  todo("work/w", "");
  put("elsewhere/l.ics", two);
  std::filesystem::create_directory_symlink(root / "elsewhere", root / "reminders/linked");
  const auto all = reminders();
  ASSERT_EQ(all.size(), 10u);
  for (const std::size_t index : {0, 2, 4}) kit.remove(all[index]);
  for (const auto& list : kit.calendars(EKEntityType::reminder))
    if (list.title != "home") kit.removeCalendar(list);
  EXPECT_EQ(reminders().size(), 10u);  // not yet

  // Another program is quicker than the commit: nothing at all goes.
  put("reminders/home/other.ics", file("BEGIN:VTODO\nUID:home/other\nSUMMARY:theirs\nEND:VTODO"));
  EXPECT_THROW(kit.commit(), Error);
  EXPECT_EQ(reminders().size(), 10u);
  EXPECT_THROW(
      kit.remove(
          {.title = "made by hand", .isCompleted = false, .dueDateComponents = {}, .calendar = {}, .alarms = {}}),
      Error);

  for (const auto& reminder : reminders())
    if (reminder.title != "2" && reminder.title != "4" && reminder.calendar.title == "home") kit.remove(reminder);
  for (const auto& list : kit.calendars(EKEntityType::reminder))
    if (list.title != "home") kit.removeCalendar(list);
  kit.commit();
  EXPECT_EQ(get("reminders/home/all.ics"),
            file("BEGIN:VTODO\nUID:2\nSUMMARY:2\nEND:VTODO\nBEGIN:VTODO\nSUMMARY:4\nEND:VTODO"));
  EXPECT_FALSE(Files::exists(root / "reminders/home/other.ics"));
  EXPECT_EQ(Files::list(root / "reminders"), std::vector<std::string>{"home"});
  EXPECT_EQ(get("elsewhere/l.ics"), two);
}

TEST_F(EventKitTest, removesNothingWhereTheOwnerForbidsSomeOfIt) {
  for (const char* place : {"a/1", "a/2", "b/1"}) todo(place, "STATUS:COMPLETED");
  std::filesystem::permissions(directory, std::filesystem::perms(0755));
  for (const char* each : {"", "reminders", "reminders/a"}) Files::setMode(root / each, 0777);
  for (const char* each : {"a/1", "a/2", "b/1"})
    Files::setMode(root / "reminders" / (each + std::string(".ics")), 0666);
  Files::setMode(root / "reminders/b", 0555);
  const auto refusedInChild = [&](const std::function<void()>& remove) {
    const pid_t child = ::fork();
    if (child == 0) {
      if (::getuid() == 0 && ::setuid(65534) != 0) ::_exit(2);  // root may write anywhere
      try {
        remove();
        kit.commit();
      } catch (const FileFailure& failure) {
        ::_exit(failure.description().ends_with("reminders/b: Permission denied") ? 0 : 1);
      }
      ::_exit(3);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return status;
  };
  EXPECT_EQ(refusedInChild([&] {
              for (const auto& reminder : reminders()) kit.remove(reminder);
            }),
            0);
  EXPECT_EQ(refusedInChild([&] {
              for (const auto& list : kit.calendars(EKEntityType::reminder)) kit.removeCalendar(list);
            }),
            0);
  EXPECT_EQ(reminders().size(), 3u);
  EXPECT_EQ(Files::list(root / "reminders"), (std::vector<std::string>{"a", "b"}));
}

TEST_F(EventKitTest, removesManyOfOneFileQuickly) {
  std::string many;
  for (int number = 0; number < 5'000; ++number)
    many += fmt::format("BEGIN:VTODO\nUID:{0}\nSUMMARY:{0}\nSTATUS:COMPLETED\nEND:VTODO\n", number);
  put("reminders/home/many.ics", file(many + "BEGIN:VTODO\nUID:last\nEND:VTODO"));
  const auto began = std::chrono::steady_clock::now();
  for (const auto& reminder : reminders())
    if (reminder.isCompleted) kit.remove(reminder);
  kit.commit();
  EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(20));  // with sanitizers
  EXPECT_EQ(get("reminders/home/many.ics"), file("BEGIN:VTODO\nUID:last\nEND:VTODO"));
}

// ---- A reader that isn't ours.

class KhalTest : public EventKitTest {
 protected:
  static std::string sorted(std::vector<std::string> lines) {
    std::sort(lines.begin(), lines.end());
    return Text::join(lines, "\n");
  }
  /// What khal lists from 1 March to 30 April 2026, a line each.
  std::string theirs() {
    return Khal::list(root / "calendars/work", directory / fmt::format("khal{}", ++runs), "Europe/Berlin",
                      "{start-date} {start-time} {title}{location}", "2026-03-01", "2026-05-01");
  }
  std::string ours() {
    std::vector<std::string> lines;
    for (const auto& event : kit.events(kit.predicateForEvents(at("2026-03-01"), at("2026-04-30 23:59")))) {
      const auto when = "2026-" + CalendarDesk::text(event.startDate);
      lines.push_back((event.isAllDay ? when.substr(0, 11) : when) + " " + event.title.value_or("") +
                      event.location.value_or(""));
    }
    return sorted(lines);
  }
  int runs = 0;
};

TEST_F(KhalTest, readsAsWeDoWhatWeWrite) {
  const std::string stamp = "DTSTAMP:20260101T000000Z\n";
  event("weekly", stamp +
                      "DTSTART;TZID=Europe/Berlin:20260302T090000\nDTEND;TZID=Europe/Berlin:20260302T100000\n"
                      "RRULE:FREQ=WEEKLY;BYDAY=MO,TH");
  event("abroad", stamp + "DTSTART;TZID=America/New_York:20260305T100000\nDURATION:PT1H\nRRULE:FREQ=WEEKLY");
  event("daily", stamp + "DTSTART;VALUE=DATE:20260310\nRRULE:FREQ=DAILY;COUNT=12\nEXDATE;VALUE=DATE:20260312");
  event("utc", stamp + "DTSTART:20260328T230000Z\nDTEND:20260329T000000Z\nRRULE:FREQ=MONTHLY;UNTIL=20260501T000000Z");
  event("once", stamp + "DTSTART:20260314T090000\nDTEND:20260314T100000");
  EXPECT_EQ(ours(), theirs());
  const auto all = kit.events(kit.predicateForEvents(at("2026-03-23"), at("2026-03-30")));
  const auto march = kit.events(kit.predicateForEvents(at("2026-03-13"), at("2026-03-16")));
  ASSERT_EQ(all.size(), 4u);
  ASSERT_EQ(march.size(), 5u);
  for (auto changed : all) {
    changed.title = "Neuer Titel: \"Ä\"";
    changed.location = "Büro; 2. Stock, links";
    changed.url = "https://example.org/?a=b;c,d";
    kit.save(changed, EKSpan::thisEvent);
  }
  for (const auto& gone : march) kit.remove(gone, EKSpan::thisEvent);
  EXPECT_EQ(ours(), theirs());
  EXPECT_EQ(Files::list(root / "calendars/work").size(), 4u);
}

}  // namespace
