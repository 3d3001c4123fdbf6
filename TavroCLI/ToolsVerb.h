// `tools [ID]`: the catalogue, for people.
#pragma once

#include "TavroCLI/Verb.h"

namespace ToolsVerb {

Work tools(CLI::App& command);

}  // namespace ToolsVerb
