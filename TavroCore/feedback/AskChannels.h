// The ways of getting a question to the owner and, where that isn't at once, the answer back: a mail with a tag in its
// subject, whose reply is fished out later, and the cockpit, which reads the open questions by itself. The tag is all
// that joins a question to its mail.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TavroCore/harness/FeedbackItem.h"

class AskChannel {
 public:
  struct Reply {
    std::string id;  // of the question
    std::string answer;
    bool operator==(const Reply&) const = default;
  };

  virtual ~AskChannel() = default;
  virtual std::string id() const = 0;  // kept in the row
  virtual std::string displayName() const = 0;
  virtual bool needsHarvest() const = 0;  // must replies be polled for?
  /// Gets the question out; may give a handle to keep in the row. Throws Error when it couldn't.
  virtual std::optional<std::string> deliver(const FeedbackItem& item) const = 0;
  /// The replies that are there to these open questions. A question that hits a failure is left for the next time.
  virtual std::vector<Reply> harvest(const std::vector<FeedbackItem>& open) const;
  /// Tidies up after the question was answered. Reports nothing.
  virtual void cleanup(const FeedbackItem& item) const;

  /// "[tavro#1A2B3C4D]"
  static std::string tag(const FeedbackItem& item);
};

namespace AskChannels {

/// Mail, then the cockpit.
const std::vector<std::unique_ptr<const AskChannel>>& all();
std::vector<std::string> ids();
inline constexpr std::string_view defaultId = "mail";
/// The channel of this id; that of `defaultId` for none and for an id that no channel has.
const AskChannel& make(const std::optional<std::string>& id);

}  // namespace AskChannels
