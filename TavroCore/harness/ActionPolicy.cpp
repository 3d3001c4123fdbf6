#include "TavroCore/harness/ActionPolicy.h"

namespace {

/// The most specific rule seen so far. Only a strictly narrower one takes its place, so that of equally
/// specific rules the first, the newest, stays.
class Winner {
 public:
  void offer(const PolicyRule& rule) {
    if (!rule_ || rule.specificity() > rule_->specificity()) rule_ = &rule;
  }
  const PolicyRule* rule() const { return rule_; }

 private:
  const PolicyRule* rule_ = nullptr;
};

/// A deny rule never competes with a narrower allow, so each side has a winner of its own.
struct Winners {
  Winner deny;
  Winner allowOrAsk;
};

Winners matching(const std::vector<PolicyRule>& rules, std::string_view toolID, const Arguments& args) {
  Winners winners;
  FoldedArguments folded(args);
  for (const PolicyRule& rule : rules) {
    if (!rule.matches(toolID, folded)) continue;
    (rule.decision == PolicyRule::Decision::deny ? winners.deny : winners.allowOrAsk).offer(rule);
  }
  return winners;
}

}  // namespace

namespace ActionPolicy {

Decision evaluate(Effect effect, AutonomyMode mode) {
  if (effect == Effect::read || mode == AutonomyMode::yolo) return Decision::automatic;
  if (effect == Effect::create && mode == AutonomyMode::copilote) return Decision::automatic;
  return Decision::ask;
}

// The order is the policy: a deny rule beats every mode, a mode beats everything that is no deny rule,
// and allow and ask rules speak in copilote alone.
Outcome evaluate(std::string_view toolID, Effect effect, const Arguments& args, AutonomyMode mode,
                 const std::vector<PolicyRule>& rules, long long mutationsToday, long long dailyCap) {
  const Winners winners = matching(rules, toolID, args);
  if (const PolicyRule* rule = winners.deny.rule()) return {Decision::deny, rule->id, "rule_deny:" + rule->id};
  if (effect == Effect::read) return {Decision::automatic, std::nullopt, "read"};
  if (mode == AutonomyMode::yolo) return {Decision::automatic, std::nullopt, "yolo_auto"};
  if (const PolicyRule* rule = winners.allowOrAsk.rule(); rule && mode == AutonomyMode::copilote) {
    if (rule->decision == PolicyRule::Decision::ask) return {Decision::ask, rule->id, "rule_ask:" + rule->id};
    if (mutationsToday >= dailyCap) return {Decision::ask, rule->id, "cap_reached"};
    return {Decision::automatic, rule->id, "rule_allow:" + rule->id};
  }
  return {evaluate(effect, mode), std::nullopt, "policy_" + std::string(AutonomyModes::rawValue(mode))};
}

}  // namespace ActionPolicy
