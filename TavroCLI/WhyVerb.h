// `why`: which rule and which mode decided about an action, from the audit.
#pragma once

#include "TavroCLI/Verb.h"

namespace WhyVerb {

Work why(CLI::App& command);

}  // namespace WhyVerb
