// `mode` and `rule`: what the gate lets through. Only the owner's command changes either.
#pragma once

#include "TavroCLI/Verb.h"

namespace PolicyVerbs {

Work mode(CLI::App& command);
Work ruleList(CLI::App& command);
Work ruleAdd(CLI::App& command);
Work ruleRemove(CLI::App& command);
Work ruleEnable(CLI::App& command);
Work ruleDisable(CLI::App& command);
Work ruleTest(CLI::App& command);

}  // namespace PolicyVerbs
