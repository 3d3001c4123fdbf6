// What passes between the owner and the automations: standing directives, verdicts, and questions with their answers.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Platform/JsonNames.h"

struct FeedbackItem {
  enum class Kind { directive, verdict, question };

  std::string id;  // eight characters: Uuid::shortId
  Kind kind = Kind::directive;
  std::string text;                                      // may hold several lines
  std::optional<std::string> automation = std::nullopt;  // of a directive or a verdict, none means every automation
  std::optional<std::string> channel = std::nullopt;     // that carried the question
  std::optional<std::string> handle = std::nullopt;      // what the channel returned for it
  std::optional<std::string> answer = std::nullopt;
  std::string createdAt;  // Timestamps, as all times here
  std::optional<std::string> answeredAt = std::nullopt;
  std::optional<std::string> injectedAt = std::nullopt;  // when an answer first went into an automation's prompt
  std::optional<std::string> expiresAt = std::nullopt;   // none means never
  std::string source;                                    // "automation", "conversation", "cockpit", "cli", ...

  bool operator==(const FeedbackItem&) const = default;

  /// A question that nobody has answered. Expiry doesn't count.
  bool isOpen() const;
  /// The item in prompts and listings: • [directive] <text>, or • [answer] #<id> "<question>" → <answer>, with the
  /// question on one line and cut to what `shortened` leaves.
  std::string injectionLine() const;

  /// The first 80 characters.
  static std::string shortened(std::string_view text);
  /// An `expiresAt` that many hours from now. Any number will do: the ends of the calendar bound it.
  static std::string expiryAfter(long long hours);
};

std::string_view rawValue(FeedbackItem::Kind kind);  // "directive", "verdict", "question"
std::optional<FeedbackItem::Kind> feedbackKindFromRawValue(std::string_view text);

/// Keys are the field names in their order; absent optionals are left out.
OrderedJson toJson(const FeedbackItem& item);
/// Nothing when a required field is missing, or any field isn't of its type. Unlike a row, whose unknown kind reads as
/// a directive, so that nothing of a later version is lost, another program's unknown kind is refused.
std::optional<FeedbackItem> feedbackItemFromJson(const Json& object);
