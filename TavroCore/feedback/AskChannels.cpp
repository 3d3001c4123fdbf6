#include "TavroCore/feedback/AskChannels.h"

#include <algorithm>

#include "TavroCore/feedback/MailAskChannel.h"

namespace {

/// The owner's menu bar program shows the open questions out of the database, and answers them there.
class CockpitAskChannel final : public AskChannel {
 public:
  std::string id() const override { return "cockpit"; }
  std::string displayName() const override { return "Cockpit"; }
  bool needsHarvest() const override { return false; }
  std::optional<std::string> deliver(const FeedbackItem&) const override { return std::nullopt; }
};

std::vector<std::unique_ptr<const AskChannel>> channels() {
  std::vector<std::unique_ptr<const AskChannel>> all;
  all.push_back(std::make_unique<MailAskChannel>());
  all.push_back(std::make_unique<CockpitAskChannel>());
  return all;
}

const AskChannel* find(std::string_view id) {
  const auto& all = AskChannels::all();
  const auto found = std::find_if(all.begin(), all.end(), [&](const auto& channel) { return channel->id() == id; });
  return found == all.end() ? nullptr : found->get();
}

}  // namespace

std::vector<AskChannel::Reply> AskChannel::harvest(const std::vector<FeedbackItem>&) const { return {}; }

void AskChannel::cleanup(const FeedbackItem&) const {}

std::string AskChannel::tag(const FeedbackItem& item) { return "[tavro#" + item.id + "]"; }

const std::vector<std::unique_ptr<const AskChannel>>& AskChannels::all() {
  static const auto all = channels();
  return all;
}

std::vector<std::string> AskChannels::ids() {
  std::vector<std::string> ids;
  for (const auto& channel : all()) ids.push_back(channel->id());
  return ids;
}

const AskChannel& AskChannels::make(const std::optional<std::string>& id) {
  const AskChannel* chosen = id ? find(*id) : nullptr;
  return chosen ? *chosen : *find(defaultId);
}
