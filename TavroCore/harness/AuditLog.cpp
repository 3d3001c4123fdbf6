#include "TavroCore/harness/AuditLog.h"

#include "Platform/Json.h"
#include "TavroCore/harness/TavroDB.h"
#include "TavroCore/harness/Timestamps.h"
#include "TavroCore/harness/Tolerant.h"

namespace {

AuditEntry decode(const Row& row) {
  return {
      .timestamp = row.text("timestamp").value_or(""),
      .actor = row.text("actor").value_or(""),
      .action = row.text("action").value_or(""),
      .accountId = row.text("account_id"),
      .details = JsonText::parseTexts(row.text("details").value_or("")).value_or(std::map<std::string, std::string>()),
      .outcome = row.text("outcome").value_or(""),
      .reason = row.text("reason"),
  };
}

std::vector<AuditEntry> entries(GRDBQueue& queue, std::string_view sql, const std::vector<DatabaseValue>& values) {
  std::vector<AuditEntry> all;
  queue.read(
      [&](Database& database) { database.query(sql, values, [&](const Row& row) { all.push_back(decode(row)); }); });
  return all;
}

/// The day of the cap is the UTC day, wherever the computer stands.
std::string startOfToday() { return Timestamps::now().substr(0, 10) + "T00:00:00Z"; }

/// SQLite refuses a row of more than a gigabyte, and what ran must show all the same. JSON may write six bytes for one.
constexpr std::size_t mostBytes = 100'000'000;

std::string detailsText(const std::map<std::string, std::string>& details) {
  std::size_t bytes = 0;
  for (const auto& [key, value] : details) bytes += key.size() + value.size();
  return bytes <= mostBytes ? JsonText::write(Json(details)) : "{}";
}

}  // namespace

OrderedJson toJson(const AuditEntry& entry) {
  OrderedJson json = {{"timestamp", entry.timestamp}, {"actor", entry.actor}, {"action", entry.action}};
  if (entry.accountId) json["accountId"] = *entry.accountId;
  json["details"] = OrderedJson(entry.details);
  json["outcome"] = entry.outcome;
  if (entry.reason) json["reason"] = *entry.reason;
  return json;
}

void AuditDB::registerMigrations(Migrator& migrator) {
  migrator.registerMigration("audit_v1", R"(CREATE TABLE audit (
    id          INTEGER PRIMARY KEY AUTOINCREMENT,
    timestamp   TEXT NOT NULL,
    actor       TEXT NOT NULL,
    action      TEXT NOT NULL,
    account_id  TEXT,
    outcome     TEXT NOT NULL,
    reason      TEXT,
    details     TEXT NOT NULL
);
CREATE INDEX idx_audit_time ON audit(timestamp);
CREATE INDEX idx_audit_action_outcome_time
    ON audit(action, outcome, timestamp);)");
}

void AuditDB::append(const AuditEntry& entry) {
  const std::string timestamp = entry.timestamp.empty() ? Timestamps::now() : entry.timestamp;
  const std::string details = detailsText(entry.details);
  const auto reason =
      entry.reason ? DatabaseValue(std::string_view(*entry.reason).substr(0, mostBytes)) : DatabaseValue();
  queue_->write([&](Database& database) {
    database.execute(
        "INSERT INTO audit (timestamp, actor, action, account_id, outcome, reason, details)\n"
        "VALUES (?, ?, ?, ?, ?, ?, ?);",
        {timestamp, entry.actor, entry.action, databaseValue(entry.accountId), entry.outcome, reason, details});
  });
}

long long AuditDB::countMutationsToday() {
  const std::string today = startOfToday();
  long long count = 0;
  queue_->read([&](Database& database) {
    count = database.integer(R"(SELECT COUNT(*) FROM audit
WHERE outcome = 'executed'
  AND reason LIKE 'rule_allow:%'
  AND timestamp >= ?;)",
                             {today});
  });
  return count;
}

std::vector<AuditEntry> AuditDB::recent(long long limit) {
  return entries(*queue_, "SELECT * FROM audit ORDER BY id DESC LIMIT ?;", {limit});
}

long long AuditDB::count() {
  long long count = 0;
  queue_->read([&](Database& database) { count = database.integer("SELECT COUNT(*) FROM audit"); });
  return count;
}

std::vector<AuditEntry> AuditDB::search(std::string_view text, long long limit) {
  const std::string pattern = "%" + std::string(text) + "%";
  return entries(*queue_, R"(SELECT * FROM audit
WHERE action LIKE ? OR actor LIKE ? OR outcome LIKE ?
   OR IFNULL(reason,'') LIKE ? OR IFNULL(account_id,'') LIKE ?
   OR details LIKE ?
ORDER BY id DESC LIMIT ?;)",
                 {pattern, pattern, pattern, pattern, pattern, pattern, limit});
}

long long AuditDB::purgeOlderThan(long long days) {
  const std::string cutOff = Timestamps::daysAgo(days);
  long long deleted = 0;
  queue_->write(
      [&](Database& database) { deleted = database.execute("DELETE FROM audit WHERE timestamp < ?", {cutOff}); });
  return deleted;
}

AuditLog& AuditLog::shared() {
  static AuditLog log(TavroDB::forProcessIfPossible());
  return log;
}

void AuditLog::log(const std::string& actor, const std::string& action, const std::optional<std::string>& accountId,
                   const std::map<std::string, std::string>& details, const std::string& outcome,
                   const std::optional<std::string>& reason) noexcept {
  tolerant(db_, false, [&](TavroDB& db) {
    db.audit.append({.timestamp = Timestamps::now(),
                     .actor = actor,
                     .action = action,
                     .accountId = accountId,
                     .details = details,
                     .outcome = outcome,
                     .reason = reason});
    return true;
  });
}

std::vector<AuditEntry> AuditLog::recent(long long limit) noexcept {
  return tolerant(db_, std::vector<AuditEntry>(), [&](TavroDB& db) { return db.audit.recent(limit); });
}

long long AuditLog::count() noexcept {
  return tolerant(db_, 0LL, [](TavroDB& db) { return db.audit.count(); });
}

std::vector<AuditEntry> AuditLog::search(std::string_view text, long long limit) noexcept {
  return tolerant(db_, std::vector<AuditEntry>(), [&](TavroDB& db) { return db.audit.search(text, limit); });
}

long long AuditLog::mutationsToday() noexcept {
  return tolerant(db_, 0LL, [](TavroDB& db) { return db.audit.countMutationsToday(); });
}

long long AuditLog::purge(long long olderThanDays) noexcept {
  return tolerant(db_, 0LL, [&](TavroDB& db) { return db.audit.purgeOlderThan(olderThanDays); });
}
