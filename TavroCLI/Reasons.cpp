#include "TavroCLI/Reasons.h"

#include <array>
#include <utility>

#include "TavroCLI/RuleText.h"
#include "TavroCore/harness/TavroDB.h"

namespace {

/// The reasons that stand for themselves.
constexpr std::array<std::pair<const char*, const char*>, 6> plain = {{
    {"read", "it only reads, and that runs in every mode unless a rule denies it"},
    {"yolo_auto", "no rule denies it, and in the mode yolo everything runs"},
    {"policy_copilote", "no rule speaks of it; in the mode copilote creations run, and destructive actions wait"},
    {"policy_panic", "no rule can let it run in the mode panic, in which all but reads wait"},
    {"cap_reached", "a rule allows it, but as many actions as a day may have (dailyMutationCap) had run by rules"},
    {"needs_approval", "no rule spoke of it, and the mode made it wait: copilote the destructive, panic all but reads"},
}};

constexpr std::array<const char*, 3> ruleReasons = {"rule_deny:", "rule_ask:", "rule_allow:"};

std::string ruleNow(const std::string& id) {
  const auto rule = TavroDB::forProcess()->rules.get(id);
  if (!rule) return "rule " + id + ", which is there no more";
  return "rule " + id + ": " + RuleText::sentence(*rule) + (rule->enabled ? "" : " (switched off since)");
}

}  // namespace

std::string Reasons::told(const std::string& reason) {
  for (const auto& [known, words] : plain)
    if (reason == known) return words;
  for (const std::string head : ruleReasons)
    if (reason.starts_with(head)) return ruleNow(reason.substr(head.size()));
  const std::string_view again = "waits_already:";
  if (reason.starts_with(again)) return "the same action waits already: " + reason.substr(again.size());
  return reason;
}
