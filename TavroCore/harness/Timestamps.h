// The one text form of time in the stores: UTC to the second, "2026-03-14T09:26:53Z". Its text order is
// time order, and every query on time relies on that.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Platform/Dates.h"

namespace Timestamps {

std::string now();
std::string iso8601(Dates::Instant date);
/// Any number will do: the ends of the calendar bound it.
std::string daysAgo(long long days);
std::optional<Dates::Instant> parseISO8601(std::string_view text);

}  // namespace Timestamps
