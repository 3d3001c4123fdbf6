// `pending`, `approve`, `reject`: the owner's side of the approval queue.
#pragma once

#include "TavroCLI/Verb.h"

namespace QueueVerbs {

Work pending(CLI::App& command);
Work approve(CLI::App& command);
Work reject(CLI::App& command);

}  // namespace QueueVerbs
