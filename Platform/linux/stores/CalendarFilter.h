// A look at a calendar file's dates without taking it apart: most files of a large calendar lie far outside the
// span that is asked for.
#pragma once

#include <string_view>

#include "Platform/Dates.h"

namespace CalendarFilter {

/// False only when no event of the file can lie between the two, whatever zone it is in.
bool mayOverlap(std::string_view file, Dates::Instant from, Dates::Instant to);

}  // namespace CalendarFilter
