// A calendar file of any bytes: reading keeps every byte, what the quick look passes over has nothing in the span, and
// a changed occurrence reads back as it was written.
#include "Platform/linux/stores/ICalendar.h"

#include <string_view>

#include "Platform/Error.h"
#include "Platform/linux/stores/CalendarFilter.h"
#include "Platform/linux/stores/ICalendarSeries.h"
#include "fuzz/Check.h"

namespace {

using namespace std::chrono;
constexpr Dates::Instant from = sys_days(year(2026) / March / 1), to = from + days(7);

void checkSpan(std::string_view bytes, const ICalendar::Document& document) {
  ICalendar::Zones zones;
  for (const auto& calendar : document.calendars)
    for (auto& series : ICalendar::Series::all(calendar, zones)) {
      CHECK(series.filed().component != nullptr);
      const auto found = series.overlapping(from, to);
      for (const auto& occurrence : found) {
        CHECK(occurrence.begins <= to);
        CHECK(occurrence.ends >= from);
      }
      if (found.empty()) continue;
      CHECK(CalendarFilter::mayOverlap(bytes, from, to));
      series.edit(found.front()).setText("SUMMARY", "a;b,\\c\nd");
      const auto again = ICalendar::parse(document.bytes());
      CHECK(again.has_value());
      CHECK(again->bytes() == document.bytes());
      return;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const auto document = ICalendar::parse(bytes);
  if (!document) return 0;
  CHECK(document->bytes() == bytes);
  try {
    checkSpan(bytes, *document);
  } catch (const Error&) {  // the module of the system's zones isn't beside this program
  }
  return 0;
}
