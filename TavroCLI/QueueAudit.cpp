#include "TavroCLI/QueueAudit.h"

#include <algorithm>
#include <set>

#include "Platform/Text.h"
#include "TavroCLI/Terminal.h"
#include "TavroCore/harness/TavroDB.h"
#include "TavroCore/harness/Timestamps.h"

namespace {

constexpr long long searched = 1000;  // lines
constexpr const char* queued = "pending_approval";

/// Has the line these arguments? The gate keeps the impact under its own key, over an argument of that name.
bool hasArguments(const AuditEntry& entry, const Arguments& args) {
  return std::all_of(args.begin(), args.end(), [&](const auto& argument) {
    const auto found = entry.details.find(argument.first);
    return found != entry.details.end() && (found->second == argument.second || argument.first == "impact");
  });
}

/// Does the line tell of a moment at most a minute after the action was made?
bool isOfThatMinute(const AuditEntry& entry, const PendingAction& action) {
  const auto made = Timestamps::parseISO8601(action.createdAt);
  const auto written = Timestamps::parseISO8601(entry.timestamp);
  return made && written && *written >= *made && *written - *made <= std::chrono::seconds(60);
}

std::vector<AuditEntry> queueings(const std::string& tool, const Arguments& args) {
  auto entries = TavroDB::forProcess()->audit.search(queued, searched);
  std::erase_if(entries, [&](const AuditEntry& entry) {
    return entry.action != tool || entry.outcome != queued || !hasArguments(entry, args);
  });
  return entries;
}

}  // namespace

std::vector<AuditEntry> QueueAudit::queueing(const PendingAction& action) {
  auto entries = queueings(action.tool, action.args);
  std::erase_if(entries, [&](const AuditEntry& entry) { return !isOfThatMinute(entry, action); });
  return entries;
}

std::string QueueAudit::asker(const PendingAction& action) {
  std::set<std::string> actors;
  try {
    for (const auto& entry : queueing(action)) actors.insert(entry.actor);
  } catch (const Error& failure) {
    Terminal::say("tavro: the audit can't be read or written: " + failure.description());
  }
  return actors.empty() ? "unknown" : Text::join({actors.begin(), actors.end()}, " or ");
}

std::optional<AuditEntry> QueueAudit::end(const std::string& id) {
  if (id.empty()) return std::nullopt;
  for (auto& entry : TavroDB::forProcess()->audit.search("ed:" + id, searched)) {
    const std::string reason = Text::lowercase(entry.reason.value_or(""));
    for (const std::string head : {"approved:", "rejected:"})
      if (reason.starts_with(head + Text::lowercase(id))) return std::move(entry);
  }
  return std::nullopt;
}

std::optional<AuditEntry> QueueAudit::queueingBefore(const AuditEntry& end) {
  Arguments args = end.details;
  if (end.outcome != "rejected") args.erase(end.outcome == "executed" ? "result" : "error");
  auto entries = queueings(end.action, args);
  std::erase_if(entries, [&](const AuditEntry& entry) { return entry.timestamp > end.timestamp; });
  return entries.empty() ? std::nullopt : std::optional(std::move(entries.front()));
}
