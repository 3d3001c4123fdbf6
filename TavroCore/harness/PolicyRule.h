// A standing order of the owner: refuse this, ask for this, let this through.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/JsonNames.h"
#include "TavroCore/harness/Tool.h"

/// The arguments of one call as rules compare them: without regard to case. Thousands of rules ask for the
/// same few texts, so each is folded once, when the first rule asks for it.
class FoldedArguments {
 public:
  /// `args` must live as long as this.
  explicit FoldedArguments(const Arguments& args) : args_(args) {}
  /// The folded text; null when the call has no such argument.
  const std::string* find(const std::string& key);

 private:
  const Arguments& args_;
  std::map<std::string_view, std::string> folded_;
};

struct PolicyRule {
  enum class Decision { allow, deny, ask };
  enum class Source { user, learned };

  std::string id;
  bool enabled = true;
  std::optional<std::string> account = std::nullopt;  // absent or empty: any account
  std::string toolPattern = "*";                      // "*", "mail.*" or an exact id
  std::map<std::string, std::string> match = {};      // argument name to a text that it must contain
  Decision decision = Decision::ask;
  Source source = Source::user;
  std::string createdAt;  // Timestamps

  bool operator==(const PolicyRule&) const = default;

  /// Does the rule speak of this call? Account and match texts compare without regard to case.
  bool matches(std::string_view toolID, FoldedArguments& args) const;
  bool matches(std::string_view toolID, const Arguments& args) const;
  /// How narrow the rule is: one for an account, one for each match entry, one for a pattern but "*".
  int specificity() const;
};

std::string_view rawValue(PolicyRule::Decision decision);  // "allow", "deny", "ask"
std::string_view rawValue(PolicyRule::Source source);      // "user", "learned"
std::optional<PolicyRule::Decision> decisionFromRawValue(std::string_view text);
std::optional<PolicyRule::Source> sourceFromRawValue(std::string_view text);

/// The record with its field names as keys, in field order; `account` is left out when absent.
OrderedJson toJson(const PolicyRule& rule);
