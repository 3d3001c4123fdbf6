// The calendar as tools.
#pragma once

#include <vector>

#include "TavroCore/harness/Tool.h"

namespace CalendarTools {

/// cal.find, cal.update, cal.add, cal.delete.
std::vector<Tool> all();

}  // namespace CalendarTools
