// The catalogue: every tool, in the order in which agents see them. Built once, on first use.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "TavroCore/harness/Tool.h"

namespace Tools {

const std::vector<Tool>& all();

/// The tool with exactly this dotted id, or null. For code that holds a stored id.
const Tool* find(std::string_view id);

/// The agent's operating manual, which `how_it_works` returns.
const std::string& llmGuide();

}  // namespace Tools
