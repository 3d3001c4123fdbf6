// The audit's queries and the rules' rows: what counts for the cap, what a search finds, what a bad row costs,
// and that a rule which another process changes is seen at the next call.
#include "Platform/Dates.h"
#include "TavroCore/harness/TavroDB.h"
#include "tests/harness/Home.h"

namespace {

using testing::ElementsAre;

Dates::Instant at(std::string_view text) { return Dates::parseISO8601(text).value(); }

class StoresTest : public HomeTest {
 protected:
  static std::vector<std::string> ids(const RulesDB::Rules& rules) {
    std::vector<std::string> all;
    for (const auto& rule : *rules) all.push_back(rule.id);
    return all;
  }
  void append(std::string outcome, std::optional<std::string> reason, std::string timestamp = "") {
    db.audit.append({.timestamp = timestamp, .actor = "mcp", .action = "x", .outcome = outcome, .reason = reason});
  }
  std::unique_ptr<GRDBQueue> raw() const { return GRDBQueue::open(home / "tavro.sqlite", Migrator()); }
  static PolicyRule rule(std::string id, std::string createdAt) {
    return {.id = id, .toolPattern = "mail.*", .match = {{"to", "bob"}}, .createdAt = createdAt};
  }

  TavroDB db{home};
};

TEST_F(StoresTest, countsForTheCapWhatAnAllowRuleLetThroughSinceMidnightUTC) {
  Dates::FixedClock clock(at("2026-03-14T23:59:59Z"));
  append("executed", "rule_allow:a");
  append("executed", "rule_allow:b", "2026-03-14T00:00:00Z");
  append("executed", "rule_allow:c", "2026-03-13T23:59:59Z");
  for (const char* reason : {"policy_copilote", "read", "yolo_auto", "xrule_allow:a"}) append("executed", reason);
  append("executed", std::nullopt);
  append("error", "rule_allow:a");
  EXPECT_EQ(db.audit.countMutationsToday(), 2);
  clock.set(at("2026-03-15T00:00:00Z"));
  EXPECT_EQ(db.audit.countMutationsToday(), 0);
}

TEST_F(StoresTest, findsALineByAnyColumnNewestFirst) {
  db.audit.append({.timestamp = "2026", .actor = "mcp", .action = "mail.send", .outcome = "1"});
  db.audit.append({.timestamp = "", .actor = "cli", .action = "cal.add", .details = {{"b", "Mail"}}, .outcome = "2"});
  db.audit.append(
      {.timestamp = "", .actor = "", .action = "", .accountId = "ann", .outcome = "3", .reason = "mailing"});
  const auto found = [this](const char* text, long long limit = 10) {
    std::string outcomes;
    for (const auto& entry : db.audit.search(text, limit)) outcomes += entry.outcome;
    return outcomes;
  };
  const std::map<const char*, const char*> cases = {{"mail", "321"},  {"ann", "3"}, {"cli", "2"},
                                                    {"cal_a%d", "2"}, {"2", "2"},   {"'; DROP TABLE audit; --", ""}};
  for (const auto& [text, outcomes] : cases) EXPECT_EQ(found(text), outcomes) << text;
  EXPECT_EQ(found("mail", 1), "3");
  EXPECT_EQ(db.audit.recent(0).size(), 0);
  EXPECT_EQ(db.audit.recent(5).back().timestamp, "2026");
}

TEST_F(StoresTest, keepsDetailsOfAnyBytesWithTheirKeysSorted) {
  AuditEntry entry{
      .timestamp = "2026", .actor = "mcp", .action = "x", .accountId = "ann", .outcome = "o", .reason = "r"};
  entry.details = {{"b", "\"\n\xff"}, {"a", std::string("\0x", 2)}};
  db.audit.append(entry);
  entry.details["b"] = "\"\n\uFFFD";
  EXPECT_EQ(db.audit.recent(1), std::vector{entry});
  raw()->write([](Database& database) {
    database.query("SELECT details FROM audit", {}, [](const Row& row) {
      EXPECT_EQ(row.text("details"), "{\"a\":\"\\u0000x\",\"b\":\"\\\"\\n\uFFFD\"}");
    });
    database.executeScript("UPDATE audit SET details = '[1', reason = x'ff', actor = CAST(x'6dff' AS TEXT)");
  });
  const auto bad = db.audit.recent(1).at(0);
  EXPECT_TRUE(bad.details.empty() && !bad.reason);
  EXPECT_EQ(bad.actor, "m\uFFFD");
}

TEST_F(StoresTest, leavesALineWithoutItsDetailsWhenTheyAreTooLongForARow) {
  std::string text;
  text.resize(200'000'000);  // six times as long in JSON, and a row of SQLite's ends at a gigabyte
  db.audit.append({.timestamp = "", .actor = "mcp", .action = "x", .details = {{"a", text}}, .outcome = "executed"});
  EXPECT_TRUE(db.audit.recent(1).at(0).details.empty());
}

TEST_F(StoresTest, purgesWhatIsOlderThanThatManyDays) {
  const Dates::FixedClock clock(at("2026-03-31T12:00:00Z"));
  append("31 days", std::nullopt, "2026-02-28T12:00:00Z");
  append("29 days", std::nullopt, "2026-03-02T12:00:00Z");
  EXPECT_EQ(db.audit.purgeOlderThan(1'000'000'000'000), 0);
  EXPECT_EQ(db.audit.purgeOlderThan(30), 1);
  EXPECT_EQ(db.audit.recent(5).at(0).outcome, "29 days");
}

TEST_F(StoresTest, keepsARulesPlaceWhenItIsReplaced) {
  db.rules.upsert(rule("old", "2026-01-01T00:00:00Z"));
  db.rules.upsert(rule("new", "2026-02-01T00:00:00Z"));
  EXPECT_THAT(ids(db.rules.all()), ElementsAre("new", "old"));
  auto changed = rule("old", "2026-03-01T00:00:00Z");
  changed.decision = PolicyRule::Decision::deny;
  changed.account = "ann";
  db.rules.upsert(changed);
  changed.createdAt = "2026-01-01T00:00:00Z";
  EXPECT_EQ(db.rules.get("old"), changed);
  EXPECT_THAT(ids(db.rules.all()), ElementsAre("new", "old"));
  EXPECT_TRUE(db.rules.setEnabled("old", false));
  EXPECT_FALSE(db.rules.all()->at(1).enabled);
  EXPECT_TRUE(db.rules.remove("new"));
  EXPECT_FALSE(db.rules.remove("new"));
  EXPECT_THAT(ids(db.rules.all()), ElementsAre("old"));
}

TEST_F(StoresTest, decodesRulesAfreshOnlyWhenAnotherConnectionHasWritten) {
  db.rules.upsert(rule("r", "2026-01-01T00:00:00Z"));
  const auto before = db.rules.all();
  append("executed", "read");
  EXPECT_EQ(db.rules.all(), before) << "our own audit line changes no rule";
  TavroDB(home).rules.setEnabled("r", false);
  EXPECT_FALSE(db.rules.all()->at(0).enabled);
  EXPECT_TRUE(before->at(0).enabled) << "a list that is in use stays as it is";
}

TEST_F(StoresTest, passesOverARowThatCantBeReadAndKeepsTheOthers) {
  raw()->write([](Database& database) {
    const auto insert = [&](const std::string& values) {
      database.executeScript("INSERT INTO policy_rules VALUES (" + values + ");");
    };
    insert("NULL, 1, NULL, '*', '{}', 'deny', 'user', '9'");
    insert("x'00', 1, NULL, '*', '{}', 'deny', 'user', '8'");
    insert("'accountBlob', 1, x'00', '*', '{}', 'allow', 'user', '7'");
    insert("'matchBlob', 1, NULL, '*', x'7b7d', 'allow', 'user', '7'");
    insert("'denied', 1, x'00', '*', x'7b7d', 'deny', 'user', '7'");
    insert("'patternBlob', 1, NULL, x'00', '{}', 'allow', 'user', '7'");
    insert("'half', 0.5, NULL, '*', '[1]', 'maybe', 'alien', '6'");
    insert("'nul', 1, NULL, CAST(x'2a00' AS TEXT), '{\"a\":1}', 'deny', 'learned', '5'");
    insert("'bytes', 0, CAST(x'ff' AS TEXT), '*', '{\"a\":\"b\"}', x'00', 'user', x'00'");
  });
  const auto rules = db.rules.all();
  ASSERT_THAT(ids(rules), testing::UnorderedElementsAre("denied", "half", "nul", "bytes"));
  std::map<std::string, PolicyRule> by;
  for (const auto& found : *rules) by[found.id] = found;
  EXPECT_EQ(by["denied"].match.size() + by["denied"].account.has_value(), 0u) << "it denies more, not nothing";
  EXPECT_EQ(by["half"], (PolicyRule{.id = "half", .createdAt = "6"}));
  EXPECT_EQ(by["nul"].toolPattern, std::string("*\0", 2));
  EXPECT_EQ(by["nul"].source, PolicyRule::Source::learned);
  EXPECT_EQ(by["bytes"].account, "\uFFFD");
  EXPECT_FALSE(by["bytes"].enabled);
  EXPECT_EQ(by["bytes"].match, (std::map<std::string, std::string>{{"a", "b"}}));
}

}  // namespace
