// The owner's desk and home in a temporary directory, on Berlin's clock.
#pragma once

#include "tests/desktop/Desk.h"
#include "tests/support/ToolCall.h"

class PersonalDesk : public Desk {
 protected:
  PersonalDesk() {
    ::setenv("HOME", directory.c_str(), 1);
    ::setenv("TAVRO_HOME", home.c_str(), 1);
    ::setenv("TZ", "Europe/Berlin", 1);
  }
  ~PersonalDesk() override { ::unsetenv("TZ"); }

  /// An .ics file with these lines as its one component: file("VEVENT", "UID:x\nSUMMARY:Lunch\nDTSTART:...").
  static std::string file(const std::string& component, const std::string& lines) {
    return "BEGIN:VCALENDAR\nVERSION:2.0\nPRODID:x\nBEGIN:" + component + "\n" + lines + "\nEND:" + component +
           "\nEND:VCALENDAR\n";
  }
  /// reminders/<place>.ics
  void todo(const std::string& place, const std::string& lines) const {
    put("reminders/" + place + ".ics", file("VTODO", "UID:" + place + "\n" + lines));
  }

  const std::filesystem::path home = directory / "tavro";
};
