// The policy is the order of its checks. These tables pin down every answer, what a rule speaks of, and what class each
// tool is of.
#include <gtest/gtest.h>

#include "TavroCore/harness/ActionPolicy.h"
#include "TavroCore/harness/Tools.h"

namespace {

using enum AutonomyMode;
using enum Effect;
using enum ActionPolicy::Decision;
using Texts = std::map<std::string, std::string>;

struct RuleText {
  std::string pattern = "*";
  Texts match = {};
  std::optional<std::string> account = std::nullopt;
  bool enabled = true;
};

PolicyRule rule(const char* id, PolicyRule::Decision decision, const RuleText& text = {}) {
  return {.id = id,
          .enabled = text.enabled,
          .account = text.account,
          .toolPattern = text.pattern,
          .match = text.match,
          .decision = decision,
          .createdAt = ""};
}
PolicyRule allows(const char* id, const RuleText& text = {}) { return rule(id, PolicyRule::Decision::allow, text); }
PolicyRule denies(const char* id, const RuleText& text = {}) { return rule(id, PolicyRule::Decision::deny, text); }
PolicyRule asks(const char* id, const RuleText& text = {}) { return rule(id, PolicyRule::Decision::ask, text); }

TEST(ActionPolicy, decidesByDenyRulesThenTheModeThenTheNarrowestRule) {
  const RuleText send{.pattern = "mail.send"}, mail{.pattern = "mail.*"}, toBob{.match = {{"to", "bob"}}};
  const RuleText mailToBob{.pattern = "mail.*", .match = {{"to", "bob"}}};
  struct Case {
    int line;
    AutonomyMode mode;
    Effect effect;
    std::vector<PolicyRule> rules;
    ActionPolicy::Decision decision;
    std::string reason;
    std::string ruleID;
    long long today = 0;
    long long cap = 100;
  };
  const std::vector<Case> cases = {
      {__LINE__, panic, read, {}, automatic, "read"},
      {__LINE__, panic, create, {}, ask, "policy_panic"},
      {__LINE__, panic, destructive, {}, ask, "policy_panic"},
      {__LINE__, copilote, read, {}, automatic, "read"},
      {__LINE__, copilote, create, {}, automatic, "policy_copilote"},
      {__LINE__, copilote, destructive, {}, ask, "policy_copilote"},
      {__LINE__, yolo, read, {}, automatic, "read"},
      {__LINE__, yolo, create, {}, automatic, "yolo_auto"},
      {__LINE__, yolo, destructive, {}, automatic, "yolo_auto"},
      // A deny rule beats every mode and effect, and any narrower rule; a disabled one is nothing.
      {__LINE__, yolo, destructive, {denies("d")}, deny, "rule_deny:d", "d"},
      {__LINE__, panic, read, {denies("d")}, deny, "rule_deny:d", "d"},
      {__LINE__, copilote, create, {allows("a", mailToBob), denies("d")}, deny, "rule_deny:d", "d"},
      {__LINE__, copilote, create, {denies("d"), denies("n", send), denies("m", mail)}, deny, "rule_deny:n", "n"},
      {__LINE__, yolo, create, {denies("d", {.enabled = false})}, automatic, "yolo_auto"},
      // Allow and ask rules speak in copilote alone, and never of reads.
      {__LINE__, yolo, destructive, {asks("q")}, automatic, "yolo_auto"},
      {__LINE__, panic, create, {allows("a")}, ask, "policy_panic"},
      {__LINE__, copilote, read, {asks("q")}, automatic, "read"},
      {__LINE__, copilote, destructive, {allows("a")}, automatic, "rule_allow:a", "a"},
      {__LINE__, copilote, create, {asks("q")}, ask, "rule_ask:q", "q"},
      {__LINE__, copilote, create, {asks("q", {.pattern = "cal.*"})}, automatic, "policy_copilote"},
      // The narrowest wins; of equals the first. A wildcard pattern is as narrow as an exact one.
      {__LINE__, copilote, create, {allows("a", send), asks("q", mail)}, automatic, "rule_allow:a", "a"},
      {__LINE__, copilote, create, {asks("q", mail), allows("a", send)}, ask, "rule_ask:q", "q"},
      {__LINE__, copilote, create, {asks("q"), allows("a", toBob)}, automatic, "rule_allow:a", "a"},
      {__LINE__, copilote, create, {asks("q", toBob), allows("a", mailToBob)}, automatic, "rule_allow:a", "a"},
      {__LINE__, copilote, create, {allows("a", {.account = ""}), asks("q", mail)}, ask, "rule_ask:q", "q"},
      // The cap holds back what an allow rule lets through, and nothing else.
      {__LINE__, copilote, create, {allows("a")}, automatic, "rule_allow:a", "a", 99, 100},
      {__LINE__, copilote, create, {allows("a")}, ask, "cap_reached", "a", 100, 100},
      {__LINE__, copilote, create, {allows("a")}, ask, "cap_reached", "a", 0, 0},
      {__LINE__, copilote, create, {asks("q")}, ask, "rule_ask:q", "q", 100, 100},
      {__LINE__, copilote, create, {}, automatic, "policy_copilote", "", 100, 100},
      {__LINE__, yolo, create, {allows("a")}, automatic, "yolo_auto", "", 100, 100},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE("line " + std::to_string(c.line));
    const auto outcome =
        ActionPolicy::evaluate("mail.send", c.effect, {{"to", "BOB SMITH"}}, c.mode, c.rules, c.today, c.cap);
    EXPECT_EQ(outcome.decision, c.decision);
    EXPECT_EQ(outcome.reason, c.reason);
    EXPECT_EQ(outcome.ruleID.value_or(""), c.ruleID);
  }
}

TEST(PolicyRule, speaksOfACallWhenPatternAccountAndEveryTextFit) {
  struct Case {
    int line;
    RuleText rule;
    std::string tool;
    Arguments args;
    bool matches;
  };
  const std::vector<Case> cases = {
      {__LINE__, {.pattern = "mail.*"}, "mail.send", {}, true},
      {__LINE__, {.pattern = "mail.*"}, "cal.add", {}, false},
      {__LINE__, {.pattern = "mail.*"}, "mail", {}, false},
      {__LINE__, {.pattern = "mail.*"}, "mailbox.send", {}, false},
      {__LINE__, {.pattern = "mail.send"}, "mail.sendAll", {}, false},
      {__LINE__, {.pattern = "mail.se*"}, "mail.send", {}, false},
      {__LINE__, {.pattern = "*.send"}, "mail.send", {}, false},
      {__LINE__, {.pattern = "Mail.*"}, "mail.send", {}, false},
      {__LINE__, {.pattern = ""}, "mail.send", {}, false},
      {__LINE__, {.enabled = false}, "mail.send", {}, false},
      {__LINE__, {.account = "Ann@Example.org"}, "x", {{"account", "ann@example.ORG"}}, true},
      {__LINE__, {.account = "Ann"}, "x", {{"account", "Anna"}}, false},
      {__LINE__, {.account = "Ann"}, "x", {}, false},
      {__LINE__, {.account = ""}, "x", {}, true},
      {__LINE__, {.account = "ÉVA"}, "x", {{"account", "e\u0301va"}}, true},
      {__LINE__, {.match = {{"to", "bob"}}}, "x", {{"to", "BOB SMITH"}}, true},
      {__LINE__, {.match = {{"to", "bob"}}}, "x", {{"cc", "bob"}}, false},
      {__LINE__, {.match = {{"to", ""}}}, "x", {{"to", "bob"}}, false},
      {__LINE__, {.match = {{"to", "bob"}, {"subject", "hi"}}}, "x", {{"to", "bob"}, {"subject", "no"}}, false},
      {__LINE__, {.match = {{"to", "straße"}}}, "x", {{"to", "Hauptstrasse 1"}}, true},
      {__LINE__, {.match = {{"to", "bob"}}}, "x", {{"to", "\xff\xfe bob \xc3"}}, true},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(asks("q", c.rule).matches(c.tool, c.args), c.matches) << "line " << c.line;
  }
}

TEST(Tools, areReadUnlessTheyChangeSomething) {
  std::map<Effect, std::string> ids;
  for (const Tool& tool : Tools::all()) ids[tool.effect] += tool.id + " ";
  EXPECT_EQ(ids[create],
            "mail.draft mail.notify imessage.notify cal.update cal.add reminder.add reminder.addList "
            "reminder.renameList reminder.update reminder.complete note.add note.update contact.add app.quit auto.add "
            "auto.edit auto.enable auto.disable auto.run ask ask.answer ask.harvest feedback.tell feedback.rm ");
  EXPECT_EQ(
      ids[destructive],
      "mail.send mail.reply mail.replyAll mail.forward mail.delete mail.move mail.archive mail.flag mail.junk "
      "cal.delete reminder.delete reminder.deleteList reminder.clearCompleted note.delete imessage.send auto.rm ");
}

}  // namespace
