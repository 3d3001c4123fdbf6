#include "TavroCore/feedback/AskService.h"

#include <algorithm>

#include "Platform/Environment.h"
#include "Platform/Text.h"
#include "TavroCore/feedback/AskChannels.h"
#include "TavroCore/harness/HarnessConfig.h"
#include "TavroCore/harness/Timestamps.h"

namespace {

using Kind = FeedbackItem::Kind;

std::string defaultChannelId() {
  const std::string configured = HarnessConfig::load().askChannel;
  return configured.empty() ? std::string(AskChannels::defaultId) : configured;
}

std::optional<std::string> expiry(std::optional<long long> hours) {
  if (!hours) return std::nullopt;
  return FeedbackItem::expiryAfter(*hours);
}

/// Records what the channel has brought; gives how many answers were new.
long long harvest(FeedbackStore& store, const AskChannel& channel) {
  const auto open = store.openQuestions(channel.id());
  if (open.empty()) return 0;
  long long recorded = 0;
  for (const auto& reply : channel.harvest(open)) {
    if (!store.answer(reply.id, reply.answer)) continue;  // somebody else was quicker, and tidies up
    ++recorded;
    const auto asked = std::find_if(open.begin(), open.end(), [&](const auto& item) { return item.id == reply.id; });
    if (asked != open.end()) channel.cleanup(*asked);
  }
  return recorded;
}

std::string summaryLine(const FeedbackItem& item) {
  if (!item.isOpen()) return item.injectionLine();
  return "#" + item.id + " [pending · " + item.channel.value_or("?") + "] \"" + FeedbackItem::shortened(item.text) +
         "\"";
}

template <typename Line>
std::string joined(const std::vector<FeedbackItem>& items, const Line& line) {
  std::vector<std::string> lines;
  for (const auto& item : items) lines.push_back(line(item));
  return Text::join(lines, "\n");
}

}  // namespace

AskService& AskService::shared() {
  static AskService service(FeedbackStore::shared());
  return service;
}

std::string AskService::ask(const std::string& text, const std::optional<std::string>& channel,
                            const std::optional<std::string>& automation, std::optional<long long> expiresHours,
                            const std::string& source) {
  const AskChannel& carrier = AskChannels::make(channel ? *channel : defaultChannelId());
  FeedbackItem question{.id = store_.freshId(),
                        .kind = Kind::question,
                        .text = text,
                        .automation = automation ? automation : Environment::value("VENDRY_RUN"),
                        .channel = carrier.id(),
                        .createdAt = Timestamps::now(),
                        .expiresAt = expiry(expiresHours),
                        .source = source};
  question.handle = carrier.deliver(question);
  store_.add(question);
  const std::string whose = question.automation ? " for '" + *question.automation + "'" : "";
  return "question #" + question.id + " asked via " + carrier.displayName() + whose +
         " - the answer will come back on the next run";
}

bool AskService::answer(const std::string& id, const std::string& text) { return store_.answer(id, text); }

std::string AskService::directive(const std::string& text, const std::optional<std::string>& automation,
                                  std::optional<long long> expiresHours, const std::string& source) {
  const FeedbackItem order{.id = store_.freshId(),
                           .kind = Kind::directive,
                           .text = text,
                           .automation = automation,
                           .createdAt = Timestamps::now(),
                           .expiresAt = expiry(expiresHours),
                           .source = source};
  store_.add(order);
  return "directive recorded (#" + order.id + ")";
}

void AskService::recordVerdict(const std::string& text, const std::optional<std::string>& automation,
                               long long expiresHours) {
  store_.add({.id = store_.freshId(),
              .kind = Kind::verdict,
              .text = text,
              .automation = automation,
              .createdAt = Timestamps::now(),
              .expiresAt = FeedbackItem::expiryAfter(expiresHours),
              .source = "cockpit"});
}

long long AskService::harvestAll() {
  long long recorded = 0;
  for (const auto& channel : AskChannels::all()) {
    if (channel->needsHarvest()) recorded += harvest(store_, *channel);
  }
  store_.gc();
  return recorded;
}

std::string AskService::injectionBlock(const std::string& automation) {
  const auto items = store_.takeInjection(automation);
  if (items.empty()) return "";
  return "=== DECISIONS / ANSWERS FROM YOUR OPERATOR ===\n"
         "Honor these instructions. To ask the operator a question: `tavro run ask text=\"...\"`.\n" +
         joined(items, [](const auto& item) { return item.injectionLine(); }) +
         "\n=============================================";
}

std::string AskService::summary(const std::optional<std::string>& automation) {
  const auto items = store_.recent(automation, 30);
  return items.empty() ? "(no operator feedback pending)" : joined(items, summaryLine);
}

void AskService::remove(const std::string& id) { store_.remove(id); }
