// `audit`, `audit purge`: what was asked, decided and done.
#pragma once

#include "TavroCLI/Verb.h"

namespace AuditVerbs {

Work audit(CLI::App& command);
Work purge(CLI::App& command);

}  // namespace AuditVerbs
