// The tolerant facade over FeedbackDB: the owner's tools never fail because of the feedback table.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TavroCore/harness/TavroDB.h"

class FeedbackStore {
 public:
  /// Over the home's database. When that can't be opened it stays absent for the life of the process.
  static FeedbackStore& shared();
  explicit FeedbackStore(std::shared_ptr<TavroDB> db) : db_(std::move(db)) {}

  // As in FeedbackDB; without a database, or on its failure, nothing, false or 0.

  void add(const FeedbackItem& item) noexcept;
  std::string freshId() noexcept;  // a random one all the same
  bool answer(std::string_view id, std::string_view text) noexcept;
  std::vector<FeedbackItem> openQuestions(std::string_view channel) noexcept;
  std::vector<FeedbackItem> pendingInjection(std::string_view automation) noexcept;
  void markInjected(const std::vector<std::string>& ids) noexcept;
  /// A database that can be read but not written still gives what is pending: better an answer twice than a run
  /// without its directives.
  std::vector<FeedbackItem> takeInjection(std::string_view automation) noexcept;
  std::vector<FeedbackItem> recent(const std::optional<std::string>& automation, long long limit) noexcept;
  long long gc(long long retainDays = 30) noexcept;
  void remove(std::string_view id) noexcept;

 private:
  std::shared_ptr<TavroDB> db_;
};
