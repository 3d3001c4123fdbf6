// A home with a feedback table, and short words for what stands in it.
#pragma once

#include <memory>

#include "TavroCore/feedback/FeedbackStore.h"
#include "TavroCore/harness/Timestamps.h"
#include "tests/harness/Home.h"

class FeedbackHome : public HomeTest {
 protected:
  using Kind = FeedbackItem::Kind;

  static Dates::Instant at(std::string_view text) { return Timestamps::parseISO8601(text).value(); }

  static FeedbackItem item(const std::string& id, Kind kind, const std::optional<std::string>& automation = "x") {
    return {.id = id,
            .kind = kind,
            .text = "text of " + id,
            .automation = automation,
            .createdAt = Timestamps::now(),
            .source = "test"};
  }
  static FeedbackItem question(const std::string& id, const std::optional<std::string>& answer = std::nullopt) {
    FeedbackItem result = item(id, Kind::question);
    result.channel = "cockpit";
    result.answer = answer;
    return result;
  }
  static std::string ids(const std::vector<FeedbackItem>& items) {
    std::string all;
    for (const auto& each : items) all += each.id + " ";
    return all;
  }

  std::shared_ptr<TavroDB> db = std::make_shared<TavroDB>(home);
  FeedbackStore store{db};
};

/// How often `part` stands in `text`.
inline int count(const std::string& text, const std::string& part) {
  int found = 0;
  for (std::size_t from = 0; (from = text.find(part, from)) != std::string::npos; from += part.size()) ++found;
  return found;
}
