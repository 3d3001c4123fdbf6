// The table `feedback`: directives, verdicts and questions between the owner and the automations. It stands beside
// AuditDB and RulesDB because every opener of the file brings all its tables up to date.
//
// Guards in the statements make a repeated or a racing call harmless: an answer, a first injection and an id that is
// there are never overwritten. Operations throw DatabaseError; those that give items do so too when one of the rows
// can't be read, but for `list`.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TavroCore/harness/FeedbackItem.h"
#include "TavroCore/harness/GRDBQueue.h"

class FeedbackDB {
 public:
  explicit FeedbackDB(std::shared_ptr<GRDBQueue> queue) : queue_(std::move(queue)) {}
  static void registerMigrations(Migrator& migrator);

  /// False when the id is there already; its row stays as it is.
  bool add(const FeedbackItem& item);
  /// An id that no row has.
  std::string freshId();
  /// Unanswered and unexpired, the oldest first.
  std::vector<FeedbackItem> openQuestions(std::string_view channel);
  /// True when a row took it. Of any kind, expired or not, as long as it has no answer.
  bool answer(std::string_view id, std::string_view text);
  /// What the next prompt of this automation is to show, the oldest first.
  std::vector<FeedbackItem> pendingInjection(std::string_view automation);
  void markInjected(const std::vector<std::string>& ids, std::string_view now);
  /// Both in one: what `pendingInjection` gives, with the questions in it marked before any other process can read
  /// them. Of two runs that start at the same moment only one gets an answer.
  std::vector<FeedbackItem> takeInjection(std::string_view automation);
  /// False when there was none.
  bool remove(std::string_view id);
  /// Deletes what has expired, and injected questions older than that many days; gives their number.
  long long gc(long long retainDays = 30);
  /// Unexpired, the newest first; with an automation, also what concerns every automation.
  std::vector<FeedbackItem> recent(const std::optional<std::string>& automation, long long limit);

  /// For the owner's eyes: a row that can't be read doesn't hide the others.
  struct Listing {
    std::vector<FeedbackItem> items;
    std::vector<std::string> unreadable;  // ids of the rows that can't be read, empty where that is unreadable too
  };
  /// All that `recent` chooses from.
  Listing list(const std::optional<std::string>& automation);

 private:
  std::shared_ptr<GRDBQueue> queue_;
};
