// The record of an automation, and the text of its prompt, of any bytes: reading never fails, what was read survives
// writing, and what lists show stays within its bounds.
#include <string_view>

#include "Platform/Json.h"
#include "Platform/Text.h"
#include "TavroCore/automations/Automation.h"
#include "TavroCore/automations/Schedule.h"
#include "fuzz/Check.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const Schedule schedule = scheduleFromJson(JsonText::parse(bytes).value_or(Json::object()));
  CHECK(scheduleFromJson(toJson(schedule)) == schedule);
  CHECK(!schedule.display().empty());
  const auto now = Dates::Instant(std::chrono::seconds(1'800'000'000));
  const auto next = schedule.next(now, now);
  CHECK(!next || *next > now);
  if (const auto hours = Schedule::parseHours(bytes))
    for (const long long hour : *hours) CHECK(hour >= 0 && hour <= 23);
  constexpr long long room = 40;
  CHECK(Text::characterCount(Automation::cleanExcerpt(bytes, room)) <= static_cast<std::size_t>(room) + 3);
  Automation::stripTavroRunPrefix(bytes);
  return 0;
}
