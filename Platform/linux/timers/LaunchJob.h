// What a property list asks of the timers: which program to start, when, and where its words go. A list that asks for
// something that these timers don't do is refused as a whole: a job that runs otherwise than its list says is worse
// than none.
#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Error.h"
#include "Platform/JsonNames.h"

/// Times by the wall clock; what is absent is every one. With a day and a weekday, either will do, as in a crontab.
struct CalendarTime {
  std::optional<int> month = std::nullopt;    // 1 to 12
  std::optional<int> day = std::nullopt;      // 1 to 31; a month without it is passed over
  std::optional<int> weekday = std::nullopt;  // 0 to 7, Sunday is both
  std::optional<int> hour = std::nullopt;     // 0 to 23
  std::optional<int> minute = std::nullopt;   // 0 to 59
};

/// All texts are UTF-8 without NUL bytes.
struct LaunchJob {
  std::string label;                   // without control characters, at most 255 bytes
  std::vector<std::string> arguments;  // the first one is the program, an absolute path
  bool runAtLoad = false;
  std::optional<std::chrono::seconds> interval = std::nullopt;  // between two starts
  std::vector<CalendarTime> times = {};
  std::optional<std::string> output = std::nullopt;     // files that are appended to, absolute paths
  std::optional<std::string> errors = std::nullopt;     //
  std::optional<std::string> directory = std::nullopt;  // an absolute path
  std::map<std::string, std::string> environment = {};

  /// Throws Error with the reason.
  static LaunchJob read(const Json& propertyList);
  /// What `read` takes.
  Json propertyList() const;
};

namespace JobName {

/// The label as a file's name without a suffix, escaped as systemd escapes names of units: letters and digits of ASCII,
/// ":", "_" and "." stand, "/" becomes "-", other bytes \xNN. A long one is cut and ends in a number made of the label.
std::string escaped(std::string_view label);

}  // namespace JobName
