// The audit: every decision of the gate and every run of a tool leaves a line in the append-only table
// `audit`. AuditDB is the layer of SQL and throws DatabaseError; AuditLog is the tolerant facade that
// never throws and does nothing when the database can't be opened.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/JsonNames.h"
#include "TavroCore/harness/GRDBQueue.h"

class TavroDB;

struct AuditEntry {
  std::string timestamp;  // Timestamps
  std::string actor;      // "mcp", "cli", "owner", "vendry:<loop>"
  std::string action;     // a tool's dotted id
  std::optional<std::string> accountId = std::nullopt;
  std::map<std::string, std::string> details = {};
  std::string outcome;  // "executed", "error", "pending_approval", "denied", "rejected"
  std::optional<std::string> reason = std::nullopt;

  bool operator==(const AuditEntry&) const = default;
};

/// Keys are the field names; absent optionals are left out.
OrderedJson toJson(const AuditEntry& entry);

class AuditDB {
 public:
  explicit AuditDB(std::shared_ptr<GRDBQueue> queue) : queue_(std::move(queue)) {}
  static void registerMigrations(Migrator& migrator);

  /// `entry.timestamp` empty means now. Details of more than 100 MB are left out, and the reason is cut there.
  void append(const AuditEntry& entry);
  /// Actions that ran because an allow rule let them, since midnight UTC, by any actor.
  long long countMutationsToday();
  std::vector<AuditEntry> recent(long long limit);  // newest first
  long long count();
  /// Lines that hold `text` in any column, newest first; "%" and "_" are wildcards, as in LIKE.
  std::vector<AuditEntry> search(std::string_view text, long long limit);
  /// Deletes lines older than that many days; gives their number.
  long long purgeOlderThan(long long days);

 private:
  std::shared_ptr<GRDBQueue> queue_;
};

class AuditLog {
 public:
  /// Over the home's database. When that can't be opened it stays absent for the life of the process.
  static AuditLog& shared();
  explicit AuditLog(std::shared_ptr<TavroDB> db) : db_(std::move(db)) {}

  /// Writes a line with the present time.
  void log(const std::string& actor, const std::string& action, const std::optional<std::string>& accountId,
           const std::map<std::string, std::string>& details, const std::string& outcome,
           const std::optional<std::string>& reason) noexcept;
  std::vector<AuditEntry> recent(long long limit) noexcept;
  long long count() noexcept;
  std::vector<AuditEntry> search(std::string_view text, long long limit) noexcept;
  long long mutationsToday() noexcept;
  long long purge(long long olderThanDays) noexcept;

 private:
  std::shared_ptr<TavroDB> db_;  // null: nothing is written, every answer is empty
};
