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
  /// What the call is told: the output, "waits" (and the impact), or "failed: <text>".
  std::string run(Effect effect, const Arguments& args = {{"to", "bob"}}) { return run(effect, args, home); }
  std::string run(Effect effect, const Arguments& args, const std::filesystem::path& configDir) {
    tool.effect = effect;
    const auto result = HarnessRunner::run(tool, args, "mcp", configDir);
    if (const auto* executed = std::get_if<Executed>(&result)) return executed->output;
    if (const auto* pending = std::get_if<Pending>(&result)) return "waits" + pending->preview.value_or("");
    return "failed: " + std::get<Failed>(result).message;
  }
  /// "outcome reason" of each audit line since the last look, oldest first.
  std::vector<std::string> lines() {
    std::vector<std::string> all;
    for (const auto& entry : AuditLog::shared().recent(AuditLog::shared().count() - seen_)) {
      EXPECT_TRUE(entry.actor == "mcp" && entry.action == "mail.send" && !entry.accountId);
      all.insert(all.begin(), entry.outcome + " " + entry.reason.value_or("-"));
    }
    seen_ += static_cast<long long>(all.size());
    return all;
  }
  static Arguments details() { return AuditLog::shared().recent(1).at(0).details; }

  Tool tool{.id = "mail.send", .summary = "", .effect = Effect::read, .build = nullptr};
  std::string output = " OK\n";
  int runs = 0;

 private:
  long long seen_ = 0;
};

TEST_F(GateTest, runsQueuesOrRefusesAndLeavesOneLine) {
  mode(AutonomyMode::panic);
  EXPECT_EQ(run(Effect::read, {{"to", "bob"}, {"account", "ann"}, {"result", "?"}}), " OK\n");
  EXPECT_EQ(details(), (Arguments{{"to", "bob"}, {"account", "ann"}, {"result", "OK"}}));
  EXPECT_EQ(run(Effect::create), "waits");
  EXPECT_EQ(details(), (Arguments{{"to", "bob"}}));
  EXPECT_THAT(lines(), ElementsAre("executed read", "pending_approval needs_approval"));
  mode(AutonomyMode::copilote);
  EXPECT_EQ(run(Effect::create), " OK\n");
  EXPECT_EQ(run(Effect::destructive), "waits");
  rule(PolicyRule::Decision::ask);
  EXPECT_EQ(run(Effect::destructive), "waits");
  EXPECT_THAT(lines(), ElementsAre("executed policy_copilote", "pending_approval needs_approval",
                                   "pending_approval rule_ask:r"));
  EXPECT_EQ(runs, 2);
  mode(AutonomyMode::yolo);
  rule(PolicyRule::Decision::deny);
  EXPECT_EQ(run(Effect::read), "failed: blocked by deny-rule (r)");
  EXPECT_THAT(lines(), ElementsAre("denied rule_deny:r"));
  EXPECT_EQ(run(Effect::read, {}), "failed: missing required argument: to");
  EXPECT_EQ(run(Effect::read, {{"to", ""}}), "failed: missing required argument: to");
  EXPECT_THAT(lines(), IsEmpty()) << "bad arguments end the call before the gate";
  EXPECT_EQ(runs, 2);
}

TEST_F(GateTest, queuesTheCallAsItCameWithItsImpact) {
  const Dates::FixedClock clock(Dates::parseISO8601("2026-03-14T09:26:53Z").value());
  tool.preview = [](const Arguments&) { return ": 1 mail"; };
  const Arguments args = {{"to", "bob"}, {"a", "2"}, {"a b", "1"}, {"url", "a b"}, {"impact", "none"}};
  EXPECT_EQ(run(Effect::destructive, args), "waits: 1 mail");
  const auto queued = PendingStore(home).list().at(0);
  EXPECT_THAT(queued.id, testing::MatchesRegex("[0-9A-F]{8}"));
  EXPECT_EQ(queued, (PendingAction{.id = queued.id,
                                   .tool = "mail.send",
                                   .args = args,
                                   .summary = "mail.send a b=1 a=2 impact=none to=bob url=a b",
                                   .createdAt = "2026-03-14T09:26:53Z",
                                   .preview = ": 1 mail"}));
  EXPECT_EQ(details().at("impact"), ": 1 mail");
  EXPECT_EQ(details().size(), args.size());
}

TEST_F(GateTest, queuesWhatIsNotUTF8AndWhatHasNoTellableImpact) {
  tool.preview = [](const Arguments&) -> std::optional<std::string> { throw Error("no Mail"); };
  EXPECT_EQ(run(Effect::destructive, {{"to", "bob\xff"}}), "waits");
  EXPECT_EQ(PendingStore(home).list().at(0).args, (Arguments{{"to", "bob\uFFFD"}}));
  EXPECT_EQ(details(), (Arguments{{"to", "bob\uFFFD"}}));
}

TEST_F(GateTest, saysWhenTheQueueCantBeWrittenAndLeavesNoLine) {
  write(user / "file", "in the way");
  EXPECT_THAT(run(Effect::destructive, {{"to", "bob"}}, user / "file"),
              testing::AllOf(testing::StartsWith("failed: could not save pending: "), HasSubstr(user / "file")));
  EXPECT_THAT(lines(), IsEmpty());
  EXPECT_EQ(runs, 0);
}

TEST_F(GateTest, capsWhatAnAllowRuleLetsThroughADay) {
  Dates::FixedClock clock(Dates::parseISO8601("2026-03-14T23:59:59Z").value());
  mode(AutonomyMode::copilote, 1);
  rule(PolicyRule::Decision::allow);
  for (const auto effect : {Effect::read, Effect::destructive, Effect::destructive}) run(effect);
  clock.set(Dates::parseISO8601("2026-03-15T00:00:00Z").value());
  run(Effect::destructive);
  EXPECT_THAT(lines(), ElementsAre("executed read", "executed rule_allow:r", "pending_approval cap_reached",
                                   "executed rule_allow:r"));
}

TEST_F(GateTest, reportsAndAuditsWhateverAToolThrows) {
  mode(AutonomyMode::yolo);
  tool.transform = [](const std::string& text) { return "never seen" + text; };
  tool.nativeRun = [](const Arguments&) -> std::string { throw Error("no Mail"); };
  EXPECT_EQ(run(Effect::create), "failed: no Mail");
  tool.nativeRun = [](const Arguments&) -> std::string { throw std::out_of_range("map::at"); };
  EXPECT_EQ(run(Effect::create), "failed: map::at");
  tool.nativeRun = [](const Arguments&) -> std::string { throw 5; };
  EXPECT_EQ(run(Effect::create), "failed: unknown failure");
  EXPECT_THAT(lines(), ElementsAre("error no Mail", "error map::at", "error unknown failure"));
  EXPECT_EQ(details(), (Arguments{{"to", "bob"}}));
}

TEST_F(GateTest, leavesNoLineWhereTheToolSaysSo) {
  tool.transform = [](const std::string& text) { return "transformed" + text; };
  tool.auditAutoRun = [](const std::string& text) { return text.starts_with("✅"); };
  EXPECT_EQ(run(Effect::create), "transformed OK\n");
  EXPECT_THAT(lines(), IsEmpty());
  tool.transform = nullptr;
  output = "✅ done";
  run(Effect::create);
  EXPECT_THAT(lines(), ElementsAre("executed policy_copilote"));
}

TEST_F(GateTest, auditsTheFirst500CharactersOfTheTrimmedOutput) {
  const auto audited = [this](std::string text) {
    output = std::move(text);
    EXPECT_EQ(run(Effect::read), output);
    return details().at("result");
  };
  std::string family;
  for (int i = 0; i < 500; ++i) family += "👩‍👧";
  EXPECT_EQ(audited(" \n\u00a0"), "");
  EXPECT_EQ(audited("\n" + family + "\n"), family);
  EXPECT_EQ(audited(family + "x"), family + "...");
  EXPECT_EQ(audited(std::string("a\xff\0b", 4)), std::string("a\uFFFD\0b", 6));
}

}  // namespace
