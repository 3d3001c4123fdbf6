// `tavro run TOOL key=value...`: a person's, a script's or an automation's way to a tool, through the same gate that
// an agent's calls pass.
#pragma once

#include "TavroCLI/Verb.h"

namespace RunVerb {

Work run(CLI::App& command);

}  // namespace RunVerb
