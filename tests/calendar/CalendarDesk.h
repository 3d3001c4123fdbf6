// A desktop with calendars: short words for files and for what a store finds in them.
#pragma once

#include <fmt/format.h>

#include <algorithm>

#include "Platform/Dates.h"
#include "Platform/linux/stores/CalendarStore.h"
#include "tests/desktop/Desk.h"

class CalendarDesk : public Desk {
 protected:
  CalendarDesk() { zone("Europe/Berlin"); }
  ~CalendarDesk() override { ::unsetenv("TZ"); }
  static void zone(const char* name) { ::setenv("TZ", name, 1); }

  /// Local, "2026-03-14 09:26".
  static Dates::Instant at(const std::string& text) {
    const auto number = [&](std::size_t place, std::size_t size) {
      return place < text.size() ? std::stoi(text.substr(place, size)) : 0;
    };
    return Dates::fromLocal({number(0, 4), number(5, 2), number(8, 2), number(11, 2), number(14, 2), 0});
  }
  static std::string text(Dates::Instant instant) {
    const auto local = Dates::local(instant);
    return fmt::format("{:02}-{:02} {:02}:{:02}", local.month, local.day, local.hour, local.minute);
  }

  /// calendars/work/<name>.ics with these lines as its only event, and a summary and a UID.
  void event(const std::string& name, const std::string& lines) const {
    put("calendars/work/" + name + ".ics",
        file("BEGIN:VEVENT\nUID:" + name + "\nSUMMARY:" + name + "\n" + lines + "\nEND:VEVENT"));
  }
  static std::string file(const std::string& components) {
    return "BEGIN:VCALENDAR\nVERSION:2.0\nPRODID:x\n" + components + "\nEND:VCALENDAR\n";
  }

  std::vector<CalendarStore::Event> eventsOf(const std::string& from, const std::string& to) {
    auto events = store.events(at(from), at(to));
    std::stable_sort(events.begin(), events.end(), [](auto& a, auto& b) { return a.begins < b.begins; });
    return events;
  }
  /// "03-14 09:26 Lunch, ..."
  std::string found(const std::string& from, const std::string& to) {
    std::string result;
    for (const auto& event : eventsOf(from, to))
      result += (result.empty() ? "" : ", ") + text(event.begins) + " " + event.title.value_or("?");
    return result;
  }

  CalendarStore store{root};
};
