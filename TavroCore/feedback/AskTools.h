// Questions, answers and directives as tools.
#pragma once

#include <vector>

#include "TavroCore/harness/Tool.h"

namespace AskTools {

/// ask, ask.answer, ask.answers, ask.harvest, feedback.tell, feedback.rm.
std::vector<Tool> all();

}  // namespace AskTools
