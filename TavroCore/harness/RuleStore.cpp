#include "TavroCore/harness/RuleStore.h"

#include "Platform/Json.h"
#include "TavroCore/harness/TavroDB.h"
#include "TavroCore/harness/Tolerant.h"

namespace {

/// Columns whose loss would widen the rule (who it binds, what it matches) must be readable, or the row is passed over;
/// only what is denied may grow. An unknown decision asks, and an unknown source is the user.
std::optional<PolicyRule> decode(const Row& row) {
  auto id = row.text("id");
  const bool enabled = row.real("enabled") != 0;
  auto account = row.text("account");
  auto toolPattern = row.text("tool_pattern");
  const auto match = row.text("match_json");
  const auto decision = decisionFromRawValue(row.text("decision").value_or("")).value_or(PolicyRule::Decision::ask);
  const bool isWidened = !match || (!account && !row.isNull("account"));
  if (!id || !toolPattern || (isWidened && decision != PolicyRule::Decision::deny)) return std::nullopt;
  return PolicyRule{
      .id = std::move(*id),
      .enabled = enabled,
      .account = std::move(account),
      .toolPattern = std::move(*toolPattern),
      .match = JsonText::parseTexts(match.value_or("")).value_or(std::map<std::string, std::string>()),
      .decision = decision,
      .source = sourceFromRawValue(row.text("source").value_or("")).value_or(PolicyRule::Source::user),
      .createdAt = row.text("created_at").value_or(""),
  };
}

}  // namespace

void RulesDB::registerMigrations(Migrator& migrator) {
  migrator.registerMigration("policy_rules_v1", R"(CREATE TABLE policy_rules (
    id           TEXT PRIMARY KEY,
    enabled      INTEGER NOT NULL,
    account      TEXT,
    tool_pattern TEXT NOT NULL,
    match_json   TEXT NOT NULL,
    decision     TEXT NOT NULL,
    source       TEXT NOT NULL,
    created_at   TEXT NOT NULL
);
CREATE INDEX idx_rules_enabled ON policy_rules(enabled);)");
}

// The number of changes is taken before the rows, in one view of the file: a list can be older than its
// number only when it is thrown away at the next look.
RulesDB::Rules RulesDB::all() {
  Rules rules;
  queue_->read([&](Database& database) {
    const std::int64_t changes = database.foreignChanges();
    if (!cached_ || changes != cachedAt_) {
      auto fresh = std::make_shared<std::vector<PolicyRule>>();
      database.query("SELECT * FROM policy_rules ORDER BY created_at DESC;", {}, [&](const Row& row) {
        if (auto rule = decode(row)) fresh->push_back(std::move(*rule));
      });
      cached_ = std::move(fresh);
      cachedAt_ = changes;
    }
    rules = cached_;
  });
  return rules;
}

std::optional<PolicyRule> RulesDB::get(std::string_view id) {
  std::optional<PolicyRule> rule;
  queue_->read([&](Database& database) {
    database.query("SELECT * FROM policy_rules WHERE id = ?;", {id}, [&](const Row& row) { rule = decode(row); });
  });
  return rule;
}

void RulesDB::upsert(const PolicyRule& rule) {
  const std::string match = JsonText::write(Json(rule.match));
  change(R"(INSERT INTO policy_rules (id, enabled, account, tool_pattern, match_json, decision, source, created_at)
VALUES (?, ?, ?, ?, ?, ?, ?, ?)
ON CONFLICT(id) DO UPDATE SET
    enabled = excluded.enabled, account = excluded.account,
    tool_pattern = excluded.tool_pattern, match_json = excluded.match_json,
    decision = excluded.decision, source = excluded.source;)",
         {rule.id, std::int64_t{rule.enabled}, databaseValue(rule.account), rule.toolPattern, match,
          rawValue(rule.decision), rawValue(rule.source), rule.createdAt});
}

bool RulesDB::remove(std::string_view id) { return change("DELETE FROM policy_rules WHERE id = ?;", {id}); }

bool RulesDB::setEnabled(std::string_view id, bool enabled) {
  return change("UPDATE policy_rules SET enabled = ? WHERE id = ?;", {std::int64_t{enabled}, id});
}

bool RulesDB::change(std::string_view sql, const std::vector<DatabaseValue>& values) {
  bool changed = false;
  queue_->write([&](Database& database) {
    changed = database.execute(sql, values) > 0;
    cached_ = nullptr;  // since our own changes don't count as foreign; last, as `values` may point into it
  });
  return changed;
}

RuleStore& RuleStore::shared() {
  static RuleStore store(TavroDB::forProcessIfPossible());
  return store;
}

RulesDB::Rules RuleStore::all() noexcept {
  static const RulesDB::Rules none = std::make_shared<const std::vector<PolicyRule>>();
  return tolerant(db_, none, [](TavroDB& db) { return db.rules.all(); });
}

std::optional<PolicyRule> RuleStore::get(std::string_view id) noexcept {
  return tolerant(db_, std::optional<PolicyRule>(), [&](TavroDB& db) { return db.rules.get(id); });
}

void RuleStore::upsert(const PolicyRule& rule) noexcept {
  tolerant(db_, false, [&](TavroDB& db) {
    db.rules.upsert(rule);
    return true;
  });
}

void RuleStore::remove(std::string_view id) noexcept {
  tolerant(db_, false, [&](TavroDB& db) { return db.rules.remove(id); });
}

void RuleStore::setEnabled(std::string_view id, bool enabled) noexcept {
  tolerant(db_, false, [&](TavroDB& db) { return db.rules.setEnabled(id, enabled); });
}
