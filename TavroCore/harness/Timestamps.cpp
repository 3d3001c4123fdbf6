#include "TavroCore/harness/Timestamps.h"

#include <algorithm>

namespace Timestamps {

std::string now() { return iso8601(Dates::now()); }

std::string iso8601(Dates::Instant date) { return Dates::iso8601(date); }

std::string daysAgo(long long days) {
  constexpr long long limit = 4'000'000;  // beyond every year of a timestamp, well inside an Instant
  return iso8601(Dates::now() - std::chrono::days(std::clamp(days, -limit, limit)));
}

std::optional<Dates::Instant> parseISO8601(std::string_view text) { return Dates::parseISO8601(text); }

}  // namespace Timestamps
