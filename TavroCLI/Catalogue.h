// The catalogue for people who type: a tool by its id, or an answer that says which id they may have meant.
#pragma once

#include <string>
#include <vector>

#include "TavroCore/harness/Tool.h"

namespace Catalogue {

std::vector<std::string> ids();

/// Throws CommandError (wrongUsage) that names the nearest id when there is no such tool.
const Tool& get(const std::string& id);

}  // namespace Catalogue
