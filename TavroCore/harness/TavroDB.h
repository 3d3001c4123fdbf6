// The one database file of the home, tavro.sqlite, and its three tables on one queue.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "TavroCore/harness/AuditLog.h"
#include "TavroCore/harness/FeedbackDB.h"
#include "TavroCore/harness/GRDBQueue.h"
#include "TavroCore/harness/RuleStore.h"

class TavroDB {
 public:
  /// In the home, which is made ready first. Throws DatabaseError or FileFailure, as all of these.
  TavroDB();
  /// In `configDir`, which is created; no migration of the home.
  explicit TavroDB(const std::filesystem::path& configDir);
  static std::unique_ptr<TavroDB> inMemory();

  /// The process's connection to the home's database, opened on first use and shared by the facades,
  /// so that an audit line of our own doesn't make the decoded rules stale. A failed opening is tried
  /// again by the next facade that asks.
  static std::shared_ptr<TavroDB> forProcess();
  /// As `forProcess`, with null for every failure.
  static std::shared_ptr<TavroDB> forProcessIfPossible() noexcept;

  /// What SQLite finds wrong when it checks the whole file, a line each; empty when it is sound. Throws DatabaseError.
  std::vector<std::string> faults();

  AuditDB audit;
  RulesDB rules;
  FeedbackDB feedback;

 private:
  explicit TavroDB(const std::shared_ptr<GRDBQueue>& queue);
  std::shared_ptr<GRDBQueue> queue_;
};
