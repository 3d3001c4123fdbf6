// Questions by mail: one goes out to the owner with its tag in the subject, and the owner's reply keeps the tag. Works
// by the mail tools themselves, past the gate: it reaches nobody but the owner, and nothing but the question's mail.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TavroCore/feedback/AskChannels.h"

class MailAskChannel final : public AskChannel {
 public:
  std::string id() const override { return "mail"; }
  std::string displayName() const override { return "Mail (reply)"; }
  bool needsHarvest() const override { return true; }
  /// By mail.notify, whose failure it tells.
  std::optional<std::string> deliver(const FeedbackItem& item) const override;
  std::vector<Reply> harvest(const std::vector<FeedbackItem>& open) const override;
  /// Archives what has the tag in the inboxes, or deletes it, or leaves it, as the settings' askCleanup says.
  void cleanup(const FeedbackItem& item) const override;

  /// "[tavro#1A2B3C4D] Shall I book the table?"
  static std::string subject(const FeedbackItem& question);

  // What mail.search's lines tell, "account/mailbox || date || size || from || subject" each.

  /// Where a reply stands, and its subject, by which it is told from the question's own mail beside it.
  struct ReplyHit {
    std::string account;
    std::string mailbox;
    std::string subject;
    bool operator==(const ReplyHit&) const = default;
  };
  /// The first reply to `question`: a mail whose subject has a "re:" that isn't of the question's own words. Drafts
  /// don't count, nor mail from anybody but `owners`, the owner's addresses, when there are any, nor a reply beside
  /// which a stranger's mail of the same subject stands.
  static std::optional<ReplyHit> replyHit(std::string_view output, const FeedbackItem& question,
                                          const std::vector<std::string>& owners = {});
  /// The accounts, each once, in the order of their first lines.
  static std::vector<std::string> inboxAccounts(std::string_view output);
};
