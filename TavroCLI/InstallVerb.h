// `tavro install [CLIENT|--file PATH]`: tells an agent's client of this server, in the client's own configuration file.
#pragma once

#include "TavroCLI/Verb.h"

namespace InstallVerb {

Work install(CLI::App& command);

}  // namespace InstallVerb
