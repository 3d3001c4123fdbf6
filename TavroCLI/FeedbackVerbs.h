// `feedback` and `answer`: what passes between the owner and the automations. An automation's run has tools for all of
// this, by which the gate and the audit know who spoke; these verbs speak as the owner, and refuse in a run.
#pragma once

#include "TavroCLI/Verb.h"

namespace FeedbackVerbs {

Work list(CLI::App& command);
Work tell(CLI::App& command);
Work remove(CLI::App& command);
Work answer(CLI::App& command);

}  // namespace FeedbackVerbs
