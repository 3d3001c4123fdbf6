// `tavro rule`: standing orders of the owner.
#include <algorithm>
#include <memory>

#include "Platform/Json.h"
#include "Platform/Uuid.h"
#include "TavroCLI/Catalogue.h"
#include "TavroCLI/Display.h"
#include "TavroCLI/Nearest.h"
#include "TavroCLI/Owner.h"
#include "TavroCLI/PolicyVerbs.h"
#include "TavroCLI/RuleText.h"
#include "TavroCLI/Terminal.h"
#include "TavroCLI/Usage.h"
#include "TavroCore/harness/TavroDB.h"
#include "TavroCore/harness/Timestamps.h"
#include "TavroCore/harness/Tools.h"

namespace {

RulesDB& rules() {
  return TavroDB::forProcess()->rules;  // the process's connection lives until the end
}

Terminal::Style style(PolicyRule::Decision decision) {
  switch (decision) {
    case PolicyRule::Decision::allow:
      return Terminal::Style::green;
    case PolicyRule::Decision::deny:
      return Terminal::Style::red;
    case PolicyRule::Decision::ask:
      break;
  }
  return Terminal::Style::yellow;
}

ExitStatus list(bool json) {
  std::vector<OrderedJson> records;
  std::vector<Display::Cells> rows;
  for (const auto& rule : *rules().all()) {
    records.push_back(toJson(rule));
    rows.push_back({{rule.id, Terminal::Style::bold},
                    {rule.enabled ? "on" : "off"},
                    {std::string(rawValue(rule.decision)), style(rule.decision)},
                    {rule.toolPattern},
                    {rule.account.value_or("")},
                    {Display::pairs(rule.match)},
                    {std::string(rawValue(rule.source))},
                    {rule.createdAt}});
  }
  if (json) {
    Display::list(records);
  } else {
    Display::list({"ID", "STATE", "DECISION", "TOOL", "ACCOUNT", "MATCH", "SOURCE", "CREATED"}, rows);
    if (rows.empty()) Terminal::say("there are no rules");
  }
  return ExitStatus::done;
}

/// A pattern that can never match is refused: the owner would believe in a protection that isn't there. One that
/// matches nothing yet is a warning, since the catalogue grows.
void checkPattern(const std::string& pattern) {
  if (pattern == "*") return;
  const bool family = pattern.ends_with(".*");
  const std::string stem = family ? pattern.substr(0, pattern.size() - 2) : pattern;
  if (stem.empty() || stem.find('*') != std::string::npos) {
    Usage::wrong("the tool pattern \"" + pattern +
                 "\" can match nothing; it is *, or a family like note.*, or a tool's id");
  }
  PolicyRule probe;
  probe.toolPattern = pattern;
  const auto& tools = Tools::all();
  if (std::any_of(tools.begin(), tools.end(), [&](const Tool& tool) { return probe.matches(tool.id, {}); })) return;
  Terminal::say("tavro: warning: no tool matches \"" + pattern + "\" today" + Nearest::hint(pattern, Catalogue::ids()));
}

/// A rule about an argument that none of its tools takes matches nothing.
void warnOfArguments(const PolicyRule& rule) {
  PolicyRule anyArguments;
  anyArguments.toolPattern = rule.toolPattern;
  std::vector<std::string> keys;
  for (const auto& [key, text] : rule.match) keys.push_back(key);
  if (rule.account) keys.emplace_back("account");
  const auto& tools = Tools::all();
  for (const auto& key : keys) {
    const auto takesIt = [&](const Tool& tool) {
      return anyArguments.matches(tool.id, {}) && Catalogue::mayTake(tool, key);
    };
    if (std::any_of(tools.begin(), tools.end(), takesIt)) continue;
    Terminal::say("tavro: warning: no tool of \"" + rule.toolPattern + "\" tells of an argument \"" + key +
                  "\", so the rule may never match");
  }
}

/// What a rule does that its sentence doesn't say.
void tellOfItsReach(const PolicyRule& rule) {
  if (!rule.match.empty() && rule.decision == PolicyRule::Decision::allow)
    Terminal::say("note: a longer text that contains this one matches too, and so do further recipients beside one");
  if (rule.account && rule.decision != PolicyRule::Decision::allow)
    Terminal::say("note: a call that names no account isn't matched, and many tools then look at all of them");
}

std::map<std::string, std::string> parsedMatch(const std::vector<std::string>& pairs) {
  std::map<std::string, std::string> match;
  for (const auto& pair : pairs) {
    const std::size_t equals = pair.find('=');
    if (equals == std::string::npos || equals == 0 || equals + 1 == pair.size()) {
      Usage::wrong("--match wants an argument's name and a text that it must contain, key=text, not \"" + pair + "\"");
    }
    if (!match.emplace(pair.substr(0, equals), pair.substr(equals + 1)).second) {
      Usage::wrong("--match names " + pair.substr(0, equals) + " twice; a rule holds one text for an argument");
    }
  }
  return match;
}

struct Addition {
  std::string pattern;
  std::string decision;
  std::optional<std::string> account = std::nullopt;
  std::vector<std::string> match = {};
  Owner::Consent consent = {};

  PolicyRule rule() const {
    const auto known = decisionFromRawValue(decision);
    if (!known) Usage::unknown("decision", decision, {"allow", "ask", "deny"});
    if (account && account->empty()) Usage::wrong("--account is empty; leave it out for a rule about every account");
    checkPattern(pattern);
    PolicyRule rule{.account = account, .toolPattern = pattern, .match = parsedMatch(match), .decision = *known};
    warnOfArguments(rule);
    tellOfItsReach(rule);
    return rule;
  }

  ExitStatus add() const {
    PolicyRule added = rule();
    if (!consent.ask("  " + RuleText::sentence(added) + "\n", "Add this rule?")) {
      Terminal::say("no rule was added");
      return ExitStatus::failed;
    }
    do {
      added.id = Uuid::shortId();
    } while (rules().get(added.id));
    added.createdAt = Timestamps::now();
    rules().upsert(added);
    Terminal::print(added.id + "\n");
    return ExitStatus::done;
  }
};

/// The verbs that go over rules by their ids. All ids are looked up before anything changes.
struct Selection {
  std::vector<std::string> ids;
  Owner::Consent consent;

  std::vector<PolicyRule> selected() const {
    const auto all = rules().all();
    std::vector<std::string> known;
    for (const auto& rule : *all) known.push_back(rule.id);
    std::vector<PolicyRule> result;
    for (const auto& typed : ids) {
      const std::string id = Nearest::id("rule", typed, known);
      result.push_back(*std::find_if(all->begin(), all->end(), [&](const auto& rule) { return rule.id == id; }));
    }
    return result;
  }

  /// `change` says false for a rule that was gone already.
  ExitStatus apply(const std::string& question, const std::function<bool(const PolicyRule&)>& change) const {
    const auto chosen = selected();
    std::string matter;
    for (const auto& rule : chosen) {
      matter +=
          "  " + Display::harmless(rule.id) + (rule.enabled ? "  " : "  (off) ") + RuleText::sentence(rule) + "\n";
    }
    if (!consent.ask(matter, question)) {
      Terminal::say("nothing was changed");
      return ExitStatus::failed;
    }
    ExitStatus status = ExitStatus::done;
    for (const auto& rule : chosen) {
      if (change(rule)) continue;
      Terminal::say("tavro: the rule " + rule.id + " has gone meanwhile");
      status = ExitStatus::failed;
    }
    return status;
  }
};

Work overSelection(CLI::App& command, const std::string& verb, const std::string& question,
                   std::function<bool(const PolicyRule&)> change) {
  auto selection = std::make_shared<Selection>();
  command.add_option("ID", selection->ids, "Id of a rule; its first characters will do")->required();
  selection->consent.declare(command, verb);
  return [selection, question, change = std::move(change)] {
    selection->consent.requireOwner();
    return selection->apply(question, change);
  };
}

}  // namespace

namespace PolicyVerbs {

Work ruleList(CLI::App& command) {
  auto json = std::make_shared<bool>(false);
  command.add_flag("--json", *json, "Print JSON");
  return [json] { return list(*json); };
}

Work ruleAdd(CLI::App& command) {
  auto addition = std::make_shared<Addition>();
  command.add_option("--tool", addition->pattern, "A tool's id, a family like note.*, or *")->required();
  command.add_option("--decision", addition->decision, "allow, ask or deny")->required();
  command.add_option("--account", addition->account, "Only calls whose argument `account` is this");
  command.add_option("--match", addition->match, "key=text: only calls whose argument `key` contains the text")
      ->allow_extra_args(false);
  addition->consent.declare(command, "rule add");
  return [addition] {
    addition->consent.requireOwner();
    return addition->add();
  };
}

Work ruleRemove(CLI::App& command) {
  return overSelection(command, "rule rm", "Remove for good?",
                       [](const PolicyRule& rule) { return rules().remove(rule.id); });
}

Work ruleEnable(CLI::App& command) {
  return overSelection(command, "rule enable", "Switch on?",
                       [](const PolicyRule& rule) { return rules().setEnabled(rule.id, true); });
}

Work ruleDisable(CLI::App& command) {
  return overSelection(command, "rule disable", "Switch off?",
                       [](const PolicyRule& rule) { return rules().setEnabled(rule.id, false); });
}

}  // namespace PolicyVerbs
