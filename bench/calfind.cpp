// Measures cal.find over 20,000 events in 10 calendars, a tenth of them recurring without end, beside two that look
// through the same files: khal, which keeps an index of its own, and a plain `grep -r`. argv: the directory of the
// programs.
#include <chrono>
#include <fstream>

#include "bench/Store.h"

namespace {

namespace fs = std::filesystem;

constexpr int calendars = 10;
constexpr int eventsEach = 2000;

constexpr auto zone =
    "BEGIN:VTIMEZONE\r\nTZID:Europe/Berlin\r\nX-LIC-LOCATION:Europe/Berlin\r\nBEGIN:DAYLIGHT\r\n"
    "TZOFFSETFROM:+0100\r\nTZOFFSETTO:+0200\r\nTZNAME:CEST\r\nDTSTART:19700329T020000\r\n"
    "RRULE:FREQ=YEARLY;BYMONTH=3;BYDAY=-1SU\r\nEND:DAYLIGHT\r\nBEGIN:STANDARD\r\nTZOFFSETFROM:+0200\r\n"
    "TZOFFSETTO:+0100\r\nTZNAME:CET\r\nDTSTART:19701025T030000\r\nRRULE:FREQ=YEARLY;BYMONTH=10;BYDAY=-1SU\r\n"
    "END:STANDARD\r\nEND:VTIMEZONE\r\n";

/// "20260314", so many days after 2016-01-01.
std::string day(int number) {
  const std::chrono::year_month_day date(std::chrono::sys_days(std::chrono::year(2016) / std::chrono::January / 1) +
                                         std::chrono::days(number));
  return fmt::format("{:04}{:02}{:02}", int(date.year()), unsigned(date.month()), unsigned(date.day()));
}

/// As calendar servers hand them out. The days are spread over twelve years.
std::string event(int number) {
  const char* rules[] = {"RRULE:FREQ=WEEKLY\r\n", "RRULE:FREQ=MONTHLY;BYDAY=2TU\r\n", "RRULE:FREQ=YEARLY\r\n",
                         "RRULE:FREQ=DAILY;INTERVAL=3\r\n"};
  const auto start = day(number * 7919 % 4383);
  return fmt::format(
      "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Example//Calendar//EN\r\n{}BEGIN:VEVENT\r\n"
      "DTSTART;TZID=Europe/Berlin:{}T{:02}3000\r\nDTEND;TZID=Europe/Berlin:{}T{:02}1500\r\n{}"
      "DTSTAMP:20260101T120000Z\r\nUID:{}@calendar.example\r\nCREATED:20260101T120000Z\r\n"
      "DESCRIPTION:Agenda of meeting {}\\n\\nJoin by phone or in the usual room\\, and bring\r\n  the figures of the "
      "last month.\r\nLAST-MODIFIED:20260101T120000Z\r\nLOCATION:Room {}\r\nSEQUENCE:1\r\nSTATUS:CONFIRMED\r\n"
      "SUMMARY:Meeting {}\r\nTRANSP:OPAQUE\r\nBEGIN:VALARM\r\nACTION:DISPLAY\r\nDESCRIPTION:Soon\r\n"
      "TRIGGER:-PT10M\r\nEND:VALARM\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n",
      zone, start, 8 + number % 9, start, 9 + number % 9, number % 10 == 0 ? rules[number / 10 % 4] : "", number,
      number, number % 40, number);
}

void fill(const fs::path& root) {
  for (int calendar = 0; calendar < calendars; ++calendar) {
    const auto directory = root / fmt::format("calendar{}", calendar);
    fs::create_directories(directory);
    for (int i = 0; i < eventsEach; ++i) {
      const int number = calendar * eventsEach + i;
      std::ofstream(directory / fmt::format("{}.ics", number)) << event(number);
    }
  }
}

/// For khal, one calendar of the ten: its index of all would take it minutes.
fs::path khalConfig(const fs::path& calendar, const fs::path& scratch) {
  const auto config = scratch / "khal.conf";
  std::ofstream(config) << "[calendars]\n[[first]]\npath = " << calendar.string()
                        << "\n[locale]\nlocal_timezone = Europe/Berlin\ndefault_timezone = Europe/Berlin\n"
                        << "[sqlite]\npath = " << (scratch / "khal.db").string() << "\n";
  return config;
}

void measure(const fs::path& programs, const fs::path& scratch) {
  const auto root = scratch / "desktop/calendars";
  setenv("TZ", "Europe/Berlin", 1);
  fill(root);
  fmt::print("{} events in {} calendars\n", calendars * eventsEach, calendars);

  const std::string tavro = programs / "tavro";
  const std::vector<std::string> find = {tavro, "run", "cal.find", "days=7"};
  forget(root);
  row("cal.find, nothing cached", costOf(find));
  row("cal.find, files cached", medianCost(find, 9), 1);
  row("cal.find of the past year", medianCost({tavro, "run", "cal.find", "days=-365"}, 5));
  row("cal.find by title", medianCost({tavro, "run", "cal.find", "days=7", "contains=meeting 77"}, 5), 1);

  const std::vector<std::string> grep = {"grep", "-r", "SUMMARY", root};
  forget(root);
  row("grep -r, nothing cached", costOf(grep));
  row("grep -r, files cached", medianCost(grep, 5));

  const std::vector<std::string> khal = {"khal", "-c", khalConfig(root / "calendar0", scratch), "list", "today", "7d"};
  row("khal list of a tenth, which makes its index", costOf(khal));
  row("khal list of a tenth, warm", medianCost(khal, 3));
}

}  // namespace

int main(int argc, char** argv) { return measureStore(argc, argv, measure); }
