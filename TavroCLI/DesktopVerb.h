// `desktop init [--sample]`: sets up the desktop that the scriptable applications live on.
#pragma once

#include "TavroCLI/Verb.h"

namespace DesktopVerb {

Work init(CLI::App& command);

}  // namespace DesktopVerb
