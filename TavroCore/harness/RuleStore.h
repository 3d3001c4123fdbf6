// The owner's rules, in the table `policy_rules`. RulesDB is the layer of SQL and throws
// DatabaseError; RuleStore is the tolerant facade that the gate uses. The server only reads.
#pragma once

#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "TavroCore/harness/GRDBQueue.h"
#include "TavroCore/harness/PolicyRule.h"

class TavroDB;

class RulesDB {
 public:
  using Rules = std::shared_ptr<const std::vector<PolicyRule>>;

  explicit RulesDB(std::shared_ptr<GRDBQueue> queue) : queue_(std::move(queue)) {}
  static void registerMigrations(Migrator& migrator);

  /// Newest first. A row that can't be read is passed over. The decoded list is kept for as long as
  /// the file says that nobody else has changed it.
  Rules all();
  std::optional<PolicyRule> get(std::string_view id);
  /// A rule of that id is replaced but for its creation time, and so keeps its place in the list.
  void upsert(const PolicyRule& rule);
  /// False when there was none.
  bool remove(std::string_view id);
  bool setEnabled(std::string_view id, bool enabled);

 private:
  bool change(std::string_view sql, const std::vector<DatabaseValue>& values);

  std::shared_ptr<GRDBQueue> queue_;
  // Touched inside the queue's reads and writes only, and so by one thread at a time.
  Rules cached_;
  std::int64_t cachedAt_ = 0;
};

class RuleStore {
 public:
  /// Over the home's database. When that can't be opened it stays absent for the life of the process.
  static RuleStore& shared();
  explicit RuleStore(std::shared_ptr<TavroDB> db) : db_(std::move(db)) {}

  RulesDB::Rules all() noexcept;  // never null
  std::optional<PolicyRule> get(std::string_view id) noexcept;
  void upsert(const PolicyRule& rule) noexcept;
  void remove(std::string_view id) noexcept;
  void setEnabled(std::string_view id, bool enabled) noexcept;

 private:
  std::shared_ptr<TavroDB> db_;
};
