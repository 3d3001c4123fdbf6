// The gate's roads: what runs, waits or is refused, the line that each road leaves, and that nothing a tool does
// brings the gate down.
#include "Platform/Dates.h"
#include "TavroCore/harness/HarnessConfig.h"
#include "TavroCore/harness/HarnessRunner.h"
#include "TavroCore/harness/PendingStore.h"
#include "tests/harness/Home.h"

namespace {

using HarnessRunner::Executed, HarnessRunner::Failed, HarnessRunner::Pending;
using testing::ElementsAre, testing::HasSubstr, testing::IsEmpty;

class GateTest : public SharedHomeTest {
 protected:
  GateTest() {
    tool.build = [](const Arguments& args) {
      requiredArgument(args, "to");
      return Script();
    };
    tool.nativeRun = [this](const Arguments&) {
      ++runs;
      return output;
    };
  }
  static void mode(AutonomyMode mode, long long cap = 100) {
    HarnessConfig{.autonomyMode = mode, .dailyMutationCap = cap}.save();
  }
  static void rule(PolicyRule::Decision decision) {
    RuleStore::shared().upsert({.id = "r", .toolPattern = "mail.*", .decision = decision, .createdAt = "2026"});
  }
  HarnessRunner::Result run(Effect effect, const Arguments& args = {{"to", "bob"}}) {
    tool.effect = effect;
    return HarnessRunner::run(tool, args, "mcp", home);
  }
  /// "outcome reason" of each audit line, oldest first.
  static std::vector<std::string> lines() {
    std::vector<std::string> all;
    for (const auto& entry : AuditLog::shared().recent(100)) {
      all.insert(all.begin(), entry.outcome + " " + entry.reason.value_or("-"));
    }
    return all;
  }
  static AuditEntry lastLine() { return AuditLog::shared().recent(1).at(0); }

  Tool tool{.id = "mail.send", .summary = "", .effect = Effect::read, .build = nullptr};
  std::string output = " OK\n";
  int runs = 0;
};

TEST_F(GateTest, refusesBadArgumentsBeforeAnythingElse) {
  mode(AutonomyMode::panic);
  rule(PolicyRule::Decision::deny);
  EXPECT_EQ(std::get<Failed>(run(Effect::destructive, {})).message, "missing required argument: to");
  EXPECT_EQ(std::get<Failed>(run(Effect::destructive, {{"to", ""}})).message, "missing required argument: to");
  EXPECT_THAT(lines(), IsEmpty());
}

TEST_F(GateTest, runsAReadInPanicAndAuditsIt) {
  mode(AutonomyMode::panic);
  EXPECT_EQ(std::get<Executed>(run(Effect::read)).output, " OK\n");
  EXPECT_THAT(lines(), ElementsAre("executed read"));
  EXPECT_EQ(lastLine().details, (Arguments{{"to", "bob"}, {"result", "OK"}}));
  EXPECT_EQ(lastLine().actor, "mcp");
  EXPECT_FALSE(lastLine().accountId);
}

TEST_F(GateTest, refusesWhatADenyRuleSpeaksOf) {
  mode(AutonomyMode::yolo);
  rule(PolicyRule::Decision::deny);
  const auto failed = std::get<Failed>(run(Effect::read, {{"to", "bob"}, {"account", "ann"}}));
  EXPECT_EQ(failed.message, "blocked by deny-rule (r)");
  EXPECT_TRUE(failed.denied);
  EXPECT_EQ(runs, 0);
  EXPECT_THAT(lines(), ElementsAre("denied rule_deny:r"));
  EXPECT_FALSE(lastLine().accountId);
}

TEST_F(GateTest, queuesADestructiveActionWithItsImpact) {
  const Dates::FixedClock clock(Dates::parseISO8601("2026-03-14T09:26:53Z").value());
  tool.preview = [](const Arguments&) { return "1 mail"; };
  const Arguments args = {{"to", "bob"}, {"a", "2"}, {"a b", "1"}, {"url", "a b"}, {"impact", "none"}};
  const auto pending = std::get<Pending>(run(Effect::destructive, args));
  EXPECT_THAT(pending.id, testing::MatchesRegex("[0-9A-F]{8}"));
  EXPECT_EQ(pending.preview, "1 mail");
  EXPECT_EQ(runs, 0);
  EXPECT_THAT(PendingStore(home).list(), ElementsAre(PendingAction{.id = pending.id,
                                                                   .tool = "mail.send",
                                                                   .args = args,
                                                                   .summary = "mail.send a b=1 a=2 impact=none "
                                                                              "to=bob url=a b",
                                                                   .createdAt = "2026-03-14T09:26:53Z",
                                                                   .preview = "1 mail"}));
  EXPECT_THAT(lines(), ElementsAre("pending_approval needs_approval"));
  Arguments details = args;
  details["impact"] = "1 mail";
  EXPECT_EQ(lastLine().details, details);
}

TEST_F(GateTest, queuesAnActionWhoseImpactCantBeTold) {
  tool.preview = [](const Arguments&) -> std::optional<std::string> { throw Error("no Mail"); };
  EXPECT_FALSE(std::get<Pending>(run(Effect::destructive)).preview);
  EXPECT_EQ(lastLine().details, (Arguments{{"to", "bob"}}));
}

TEST_F(GateTest, tellsInTheAuditWhatMadeAnActionWait) {
  mode(AutonomyMode::panic);
  EXPECT_TRUE(std::holds_alternative<Pending>(run(Effect::create)));
  mode(AutonomyMode::copilote);
  rule(PolicyRule::Decision::ask);
  EXPECT_TRUE(std::holds_alternative<Pending>(run(Effect::create)));
  EXPECT_THAT(lines(), ElementsAre("pending_approval needs_approval", "pending_approval rule_ask:r"));
}

TEST_F(GateTest, capsWhatAnAllowRuleLetsThroughADay) {
  Dates::FixedClock clock(Dates::parseISO8601("2026-03-14T23:59:59Z").value());
  mode(AutonomyMode::copilote, 1);
  rule(PolicyRule::Decision::allow);
  run(Effect::read);
  run(Effect::destructive);
  EXPECT_TRUE(std::holds_alternative<Pending>(run(Effect::destructive)));
  clock.set(Dates::parseISO8601("2026-03-15T00:00:00Z").value());
  EXPECT_TRUE(std::holds_alternative<Executed>(run(Effect::destructive)));
  EXPECT_THAT(lines(), ElementsAre("executed read", "executed rule_allow:r", "pending_approval cap_reached",
                                   "executed rule_allow:r"));
}

TEST_F(GateTest, seesAtTheNextCallWhatAnotherProcessChanged) {
  EXPECT_TRUE(std::holds_alternative<Executed>(run(Effect::create)));
  GRDBQueue::open(home / "tavro.sqlite", Migrator())->write([](Database& database) {
    database.executeScript("INSERT INTO policy_rules VALUES ('n', 1, NULL, 'mail.*', '{}', 'deny', 'user', '2026')");
  });
  EXPECT_TRUE(std::get<Failed>(run(Effect::create)).denied);
}

TEST_F(GateTest, reportsAndAuditsWhateverAToolThrows) {
  mode(AutonomyMode::yolo);
  tool.transform = [](const std::string& text) { return "never seen" + text; };
  tool.nativeRun = [](const Arguments&) -> std::string { throw Error("no Mail"); };
  EXPECT_EQ(std::get<Failed>(run(Effect::create)).message, "no Mail");
  tool.nativeRun = [](const Arguments&) -> std::string { throw std::out_of_range("map::at"); };
  EXPECT_EQ(std::get<Failed>(run(Effect::create)).message, "map::at");
  tool.nativeRun = [](const Arguments&) -> std::string { throw 5; };
  EXPECT_EQ(std::get<Failed>(run(Effect::create)).message, "unknown failure");
  EXPECT_THAT(lines(), ElementsAre("error no Mail", "error map::at", "error unknown failure"));
  EXPECT_EQ(lastLine().details, (Arguments{{"to", "bob"}}));
  tool.build = nullptr;
  EXPECT_FALSE(std::get<Failed>(run(Effect::create)).message.empty());
}

TEST_F(GateTest, leavesNoLineWhereTheToolSaysSo) {
  tool.transform = [](const std::string& text) { return "transformed" + text; };
  tool.auditAutoRun = [](const std::string& text) { return text.starts_with("✅"); };
  EXPECT_EQ(std::get<Executed>(run(Effect::create)).output, "transformed OK\n");
  EXPECT_THAT(lines(), IsEmpty());
  tool.transform = nullptr;
  output = "✅ done";
  run(Effect::create);
  EXPECT_THAT(lines(), ElementsAre("executed policy_copilote"));
}

TEST_F(GateTest, auditsTheFirst500CharactersOfTheTrimmedOutput) {
  const auto audited = [this](std::string text) {
    output = std::move(text);
    EXPECT_EQ(std::get<Executed>(run(Effect::read)).output, output);
    return lastLine().details.at("result");
  };
  std::string family;
  for (int i = 0; i < 500; ++i) family += "👩‍👧";
  EXPECT_EQ(audited(" \n\u00a0"), "");
  EXPECT_EQ(audited("\n" + family + "\n"), family);
  EXPECT_EQ(audited(family + "x"), family + "...");
  EXPECT_EQ(audited(std::string("a\xff\0b", 4)), std::string("a\uFFFD\0b", 6));
}

TEST_F(GateTest, queuesAndAuditsArgumentsThatAreNotUTF8) {
  const auto pending = std::get<Pending>(run(Effect::destructive, {{"to", "bob\xff"}}));
  EXPECT_EQ(PendingStore(home).get(pending.id)->args, (Arguments{{"to", "bob\uFFFD"}}));
  EXPECT_EQ(lastLine().details, (Arguments{{"to", "bob\uFFFD"}}));
}

TEST_F(GateTest, saysWhenTheQueueCantBeWrittenAndLeavesNoLine) {
  tool.effect = Effect::destructive;
  write(user / "file", "in the way");
  const auto failed = std::get<Failed>(HarnessRunner::run(tool, {{"to", "bob"}}, "mcp", user / "file"));
  EXPECT_THAT(failed.message, testing::StartsWith("could not save pending: "));
  EXPECT_THAT(failed.message, HasSubstr(user / "file"));
  EXPECT_THAT(lines(), IsEmpty());
  EXPECT_EQ(runs, 0);
}

// Any program of that name that is told by the variable stands for the system's own.
TEST_F(GateTest, runsAScriptAndGivesTheOutputOfASuccessAlone) {
  write(user / "bin/osascript",
        "#!/bin/sh\necho output\necho 'execution error: no Mail (-600)' >&2\nexit ${STATUS:-0}\n");
  Files::setMode(user / "bin/osascript", 0700);
  ::setenv("TAVRO_PLATFORM_BIN", (user / "bin").c_str(), 1);
  tool.nativeRun = nullptr;
  tool.transform = [](const std::string& text) { return "OK " + text; };
  EXPECT_EQ(HarnessRunner::executeBuilt(tool, {{"to", "bob"}}).output, "OK output");
  ::setenv("STATUS", "1", 1);
  const auto failed = HarnessRunner::executeBuilt(tool, {{"to", "bob"}});
  EXPECT_FALSE(failed.ok);
  EXPECT_EQ(failed.output, "");
  EXPECT_THAT(failed.error, HasSubstr("no Mail"));
  ::unsetenv("STATUS");
  ::unsetenv("TAVRO_PLATFORM_BIN");
}

}  // namespace
