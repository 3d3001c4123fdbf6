// Finder and what runs, as tools.
#pragma once

#include <vector>

#include "TavroCore/harness/Tool.h"

namespace DesktopTools {

/// finder.reveal, app.quit.
std::vector<Tool> all();

}  // namespace DesktopTools
