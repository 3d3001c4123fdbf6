#include "TavroCore/feedback/FeedbackStore.h"

#include "Platform/Uuid.h"
#include "TavroCore/harness/Timestamps.h"
#include "TavroCore/harness/Tolerant.h"

namespace {

using Items = std::vector<FeedbackItem>;

}  // namespace

FeedbackStore& FeedbackStore::shared() {
  static FeedbackStore store(TavroDB::forProcessIfPossible());
  return store;
}

void FeedbackStore::add(const FeedbackItem& item) noexcept {
  tolerant(db_, false, [&](TavroDB& db) { return db.feedback.add(item); });
}

std::string FeedbackStore::freshId() noexcept {
  const std::string id = tolerant(db_, std::string(), [](TavroDB& db) { return db.feedback.freshId(); });
  return id.empty() ? Uuid::shortId() : id;
}

bool FeedbackStore::answer(std::string_view id, std::string_view text) noexcept {
  return tolerant(db_, false, [&](TavroDB& db) { return db.feedback.answer(id, text); });
}

std::vector<FeedbackItem> FeedbackStore::openQuestions(std::string_view channel) noexcept {
  return tolerant(db_, Items(), [&](TavroDB& db) { return db.feedback.openQuestions(channel); });
}

std::vector<FeedbackItem> FeedbackStore::pendingInjection(std::string_view automation) noexcept {
  return tolerant(db_, Items(), [&](TavroDB& db) { return db.feedback.pendingInjection(automation); });
}

void FeedbackStore::markInjected(const std::vector<std::string>& ids) noexcept {
  if (ids.empty()) return;
  tolerant(db_, false, [&](TavroDB& db) {
    db.feedback.markInjected(ids, Timestamps::now());
    return true;
  });
}

std::vector<FeedbackItem> FeedbackStore::takeInjection(std::string_view automation) noexcept {
  const auto taken = tolerant(db_, std::optional<Items>(),
                              [&](TavroDB& db) { return std::optional<Items>(db.feedback.takeInjection(automation)); });
  return taken ? *taken : pendingInjection(automation);
}

std::vector<FeedbackItem> FeedbackStore::recent(const std::optional<std::string>& automation,
                                                long long limit) noexcept {
  return tolerant(db_, Items(), [&](TavroDB& db) { return db.feedback.recent(automation, limit); });
}

long long FeedbackStore::gc(long long retainDays) noexcept {
  return tolerant(db_, 0LL, [&](TavroDB& db) { return db.feedback.gc(retainDays); });
}

void FeedbackStore::remove(std::string_view id) noexcept {
  tolerant(db_, false, [&](TavroDB& db) { return db.feedback.remove(id); });
}
