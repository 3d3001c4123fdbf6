// Dates as people read and write them: calendar fields, the long text form, and the forms that
// `date "..."` understands. Dates are proleptic Gregorian wall-clock times.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Platform/linux/applescript/Value.h"

namespace AppleScript {

struct DateFields {
  std::int64_t year = 1970;
  std::int64_t month = 1;  // out of range rolls over, in every field
  std::int64_t day = 1;
  std::int64_t time = 0;  // seconds since midnight
};

DateFields fields(Date date);
Date fromFields(const DateFields& fields);
Date presentDate();

int weekday(Date date);  // 0 is Sunday
extern const char* const monthNames[12];
extern const char* const weekdayNames[7];
/// 1 to 12 for an English month's name or its first three letters; 0 for any other text.
int monthNumber(std::string_view name);

std::string dateText(Date date);       // "Friday, July 1, 2005"
std::string timeText(Date date);       // "12:00:00 AM"
std::string shortDateText(Date date);  // "7/1/2005"
std::string longText(Date date);       // "Friday, July 1, 2005 at 12:00:00 AM"

/// Reads ISO 8601 ("2026-03-14", with "T09:26" or " 09:26:53") and the usual American forms
/// ("3/14/2026", "March 14, 2026 at 9:26 AM", a weekday in front or not). A missing time is midnight.
std::optional<Date> parseDate(std::string_view text);

}  // namespace AppleScript
