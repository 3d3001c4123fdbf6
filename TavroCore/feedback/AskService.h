// The owner's and the automations' wishes as feedback items, and the items as the text of a prompt. Nobody waits for
// an answer: a question goes out, its reply is harvested later, and the automation reads it at its next run.
#pragma once

#include <optional>
#include <string>

#include "TavroCore/feedback/FeedbackStore.h"

class AskService {
 public:
  static AskService& shared();
  explicit AskService(FeedbackStore& store) : store_(store) {}

  /// Sends the question over `channel` (else the settings' one) and keeps it, for `automation` (else the one that this
  /// process runs for, VENDRY_RUN). Gives the message for the agent. Throws the channel's Error; then nothing was kept.
  std::string ask(const std::string& text, const std::optional<std::string>& channel,
                  const std::optional<std::string>& automation, std::optional<long long> expiresHours,
                  const std::string& source);
  /// True when a row took the answer. The channel isn't tidied up.
  bool answer(const std::string& id, const std::string& text);
  /// A standing order to one automation, or to all. Gives the message.
  std::string directive(const std::string& text, const std::optional<std::string>& automation,
                        std::optional<long long> expiresHours, const std::string& source);
  /// What the owner decided of an automation's work, for the owner's programs.
  void recordVerdict(const std::string& text, const std::optional<std::string>& automation, long long expiresHours);
  /// Gets replies in from the channels, and deletes what is over. Gives how many answers were recorded.
  long long harvestAll();
  /// What is to stand in the prompt of this automation's next run; empty when there is nothing. A write: each answer
  /// in it counts as delivered from then on, and isn't given again.
  std::string injectionBlock(const std::string& automation);
  /// The newest 30 items, a line each. Delivers nothing.
  std::string summary(const std::optional<std::string>& automation);
  void remove(const std::string& id);

 private:
  FeedbackStore& store_;
};
