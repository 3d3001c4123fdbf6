// The catalogue for people who type: a tool by its id, or an answer that says which id they may have meant.
#pragma once

#include <string>
#include <vector>

#include "TavroCore/harness/Tool.h"

namespace Catalogue {

std::vector<std::string> ids();

/// Throws CommandError (wrongUsage) that names the nearest id when there is no such tool.
const Tool& get(const std::string& id);

/// Does the tool take an argument of this name, as far as it tells? What it takes stands in its summary and nowhere
/// else.
bool mayTake(const Tool& tool, const std::string& argument);

}  // namespace Catalogue
