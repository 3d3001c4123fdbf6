// Who decides whether an action runs: this file. A pure function of the call, the mode, the rules and
// one counter; it touches no file, clock or database.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TavroCore/harness/AutonomyMode.h"
#include "TavroCore/harness/PolicyRule.h"
#include "TavroCore/harness/Tool.h"

namespace ActionPolicy {

enum class Decision { automatic, ask, deny };  // run now, queue for a human, refuse

struct Outcome {
  Decision decision = Decision::ask;
  std::optional<std::string> ruleID = std::nullopt;  // the rule that decided, if one did
  std::string reason;                                // short and machine-readable, for the audit
};

/// The plain policy: what a mode says of an effect when no rule speaks.
Decision evaluate(Effect effect, AutonomyMode mode);

/// `rules` stand in store order, newest first; of equally specific rules the first wins.
Outcome evaluate(std::string_view toolID, Effect effect, const Arguments& args, AutonomyMode mode,
                 const std::vector<PolicyRule>& rules, long long mutationsToday, long long dailyCap);

}  // namespace ActionPolicy
