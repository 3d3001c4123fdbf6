// The people of the owner's Contacts application, as tools.
#pragma once

#include <vector>

#include "TavroCore/harness/Tool.h"

namespace ContactTools {

/// contact.find, contact.add.
std::vector<Tool> all();

}  // namespace ContactTools
