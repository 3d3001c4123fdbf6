// khal, a reader of calendars that isn't ours.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>

#include "Platform/Process.h"
#include "Platform/Text.h"

namespace Khal {

/// What khal lists of one calendar's directory from a day until before another, a line each, sorted. `scratch` is for
/// what it wants to keep; each call needs another.
inline std::string list(const std::filesystem::path& calendar, const std::filesystem::path& scratch,
                        const std::string& zone, const std::string& format, const std::string& from,
                        const std::string& to) {
  std::filesystem::create_directories(scratch);
  const auto configuration = (scratch / "khal.conf").string();
  std::ofstream(configuration) << "[calendars]\n[[it]]\npath = " << calendar.string()
                               << "\n[locale]\nlocal_timezone = " << zone << "\ndefault_timezone = " << zone
                               << "\ndateformat = %Y-%m-%d\nlongdateformat = %Y-%m-%d\ntimeformat = %H:%M\n"
                                  "datetimeformat = %Y-%m-%d %H:%M\nlongdatetimeformat = %Y-%m-%d %H:%M\n"
                                  "[sqlite]\npath = "
                               << (scratch / "khal.db").string() << "\n";
  const auto result =
      Process::run({.program = "khal",
                    .arguments = {"-c", configuration, "list", "--day-format", "", "--format", format, from, to}});
  EXPECT_EQ(result.status.code, 0) << result.errors;
  auto lines = Text::split(result.output, '\n', true);
  std::sort(lines.begin(), lines.end());
  return Text::join(lines, "\n");
}

}  // namespace Khal
