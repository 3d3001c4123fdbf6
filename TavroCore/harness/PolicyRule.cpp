#include "TavroCore/harness/PolicyRule.h"

#include <algorithm>
#include <array>

#include "Platform/Json.h"
#include "Platform/Text.h"

namespace {

constexpr std::array<std::string_view, 3> decisionNames = {"allow", "deny", "ask"};
constexpr std::array<std::string_view, 2> sourceNames = {"user", "learned"};

template <typename Case, std::size_t count>
std::optional<Case> find(const std::array<std::string_view, count>& names, std::string_view text) {
  const auto found = std::find(names.begin(), names.end(), text);
  if (found == names.end()) return std::nullopt;
  return static_cast<Case>(found - names.begin());
}

bool patternMatches(std::string_view pattern, std::string_view toolID) {
  if (pattern == "*") return true;
  if (pattern.ends_with(".*")) return toolID.starts_with(pattern.substr(0, pattern.size() - 1));
  return pattern == toolID;
}

bool restrictsAccount(const PolicyRule& rule) { return rule.account && !rule.account->empty(); }

}  // namespace

const std::string* FoldedArguments::find(const std::string& key) {
  if (const auto known = folded_.find(key); known != folded_.end()) return &known->second;
  const auto found = args_.find(key);
  if (found == args_.end()) return nullptr;
  return &folded_.emplace(found->first, Text::folded(found->second)).first->second;
}

// The cheap conditions stand first: of ten thousand rules most fail at the pattern.
bool PolicyRule::matches(std::string_view toolID, FoldedArguments& args) const {
  if (!enabled || !patternMatches(toolPattern, toolID)) return false;
  if (restrictsAccount(*this)) {
    static const std::string accountKey = "account";
    const std::string* given = args.find(accountKey);
    if (!given || *given != Text::folded(*account)) return false;
  }
  return std::all_of(match.begin(), match.end(), [&](const auto& condition) {
    const std::string* given = args.find(condition.first);
    return given && !condition.second.empty() && given->find(Text::folded(condition.second)) != std::string::npos;
  });
}

bool PolicyRule::matches(std::string_view toolID, const Arguments& args) const {
  FoldedArguments folded(args);
  return matches(toolID, folded);
}

int PolicyRule::specificity() const {
  return static_cast<int>(match.size()) + (restrictsAccount(*this) ? 1 : 0) + (toolPattern == "*" ? 0 : 1);
}

std::string_view rawValue(PolicyRule::Decision decision) { return decisionNames[static_cast<std::size_t>(decision)]; }

std::string_view rawValue(PolicyRule::Source source) { return sourceNames[static_cast<std::size_t>(source)]; }

std::optional<PolicyRule::Decision> decisionFromRawValue(std::string_view text) {
  return find<PolicyRule::Decision>(decisionNames, text);
}

std::optional<PolicyRule::Source> sourceFromRawValue(std::string_view text) {
  return find<PolicyRule::Source>(sourceNames, text);
}

OrderedJson toJson(const PolicyRule& rule) {
  OrderedJson json = {{"id", rule.id}, {"enabled", rule.enabled}};
  if (rule.account) json["account"] = *rule.account;
  json["toolPattern"] = rule.toolPattern;
  json["match"] = OrderedJson(rule.match);
  json["decision"] = rawValue(rule.decision);
  json["source"] = rawValue(rule.source);
  json["createdAt"] = rule.createdAt;
  return json;
}
