// `access status [--json]`, `access setup [--json]` and `access set SUBJECT STATE`: what of the owner's tools may use.
#pragma once

#include "TavroCLI/Verb.h"

namespace AccessVerbs {

Work status(CLI::App& command);
Work setup(CLI::App& command);
Work set(CLI::App& command);

}  // namespace AccessVerbs
