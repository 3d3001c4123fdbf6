#include "TavroCore/harness/FeedbackItem.h"

#include <algorithm>
#include <array>

#include "Platform/Json.h"
#include "Platform/Text.h"
#include "TavroCore/harness/RecordFields.h"
#include "TavroCore/harness/Timestamps.h"

namespace {

constexpr std::array<std::string_view, 3> kindNames = {"directive", "verdict", "question"};

}  // namespace

bool FeedbackItem::isOpen() const { return kind == Kind::question && !answer; }

std::string FeedbackItem::injectionLine() const {
  if (kind != Kind::question) return "• [" + std::string(rawValue(kind)) + "] " + text;
  return "• [answer] #" + id + " \"" + shortened(Text::replaceAll(text, "\n", " ")) + "\" → " +
         answer.value_or("(no answer)");
}

std::string FeedbackItem::shortened(std::string_view text) { return std::string(Text::firstCharacters(text, 80)); }

std::string FeedbackItem::expiryAfter(long long hours) {
  constexpr long long limit = 100'000'000;  // beyond every year of a timestamp, well inside an Instant
  return Timestamps::iso8601(Dates::now() + std::chrono::hours(std::clamp(hours, -limit, limit)));
}

std::string_view rawValue(FeedbackItem::Kind kind) { return kindNames[static_cast<std::size_t>(kind)]; }

std::optional<FeedbackItem::Kind> feedbackKindFromRawValue(std::string_view text) {
  const auto found = std::find(kindNames.begin(), kindNames.end(), text);
  if (found == kindNames.end()) return std::nullopt;
  return static_cast<FeedbackItem::Kind>(found - kindNames.begin());
}

OrderedJson toJson(const FeedbackItem& item) {
  OrderedJson json = {{"id", item.id}, {"kind", rawValue(item.kind)}, {"text", item.text}};
  const auto put = [&json](const char* key, const std::optional<std::string>& value) {
    if (value) json[key] = *value;
  };
  put("automation", item.automation);
  put("channel", item.channel);
  put("handle", item.handle);
  put("answer", item.answer);
  json["createdAt"] = item.createdAt;
  put("answeredAt", item.answeredAt);
  put("injectedAt", item.injectedAt);
  put("expiresAt", item.expiresAt);
  json["source"] = item.source;
  return json;
}

std::optional<FeedbackItem> feedbackItemFromJson(const Json& object) {
  using RecordFields::read;
  FeedbackItem item;
  std::string kind;
  const bool isWhole = read(object, "id", item.id) && read(object, "kind", kind) && read(object, "text", item.text) &&
                       read(object, "automation", item.automation) && read(object, "channel", item.channel) &&
                       read(object, "handle", item.handle) && read(object, "answer", item.answer) &&
                       read(object, "createdAt", item.createdAt) && read(object, "answeredAt", item.answeredAt) &&
                       read(object, "injectedAt", item.injectedAt) && read(object, "expiresAt", item.expiresAt) &&
                       read(object, "source", item.source);
  const auto known = feedbackKindFromRawValue(kind);
  if (!isWhole || !known) return std::nullopt;
  item.kind = *known;
  return item;
}
