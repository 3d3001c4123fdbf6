#include "TavroCLI/WhyVerb.h"

#include <memory>

#include "Platform/Json.h"
#include "Platform/Text.h"
#include "TavroCLI/Display.h"
#include "TavroCLI/QueueAudit.h"
#include "TavroCLI/Reasons.h"
#include "TavroCLI/Usage.h"
#include "TavroCore/harness/Approval.h"
#include "TavroCore/harness/ConfigDir.h"
#include "TavroCore/harness/TavroDB.h"

namespace {

/// What is to be told: the line of the decision, and that of the owner's where there is one.
struct Story {
  std::optional<AuditEntry> decision = std::nullopt;
  std::optional<AuditEntry> end = std::nullopt;
};

std::optional<Story> ofQueuedAction(const std::string& typed) {
  ConfigDir::ensure();
  for (const auto& item : Approval::list(PendingStore(ConfigDir::url()))) {
    if (!Text::lowercase(item.action.id).starts_with(Text::lowercase(typed))) continue;
    auto entries = QueueAudit::queueing(item.action);
    if (entries.empty())
      throw CommandError(ExitStatus::failed, item.action.id + " waits, and the audit has no line of it");
    return Story{.decision = std::move(entries.front())};
  }
  return std::nullopt;
}

std::optional<Story> ofDecidedAction(const std::string& typed) {
  auto end = QueueAudit::end(typed);
  if (!end) return std::nullopt;
  Story story{.decision = QueueAudit::queueingBefore(*end)};
  story.end = std::move(end);
  return story;
}

/// The newest decision about a tool.
std::optional<Story> ofTool(const std::string& id) {
  for (auto& entry : TavroDB::forProcess()->audit.search(id, 1000))
    if (entry.action == id) return Story{.decision = std::move(entry)};
  return std::nullopt;
}

std::string outcome(const AuditEntry& entry) {
  if (entry.outcome == "pending_approval") return "it had to wait for you";
  if (entry.outcome == "denied") return "it was refused";
  return entry.outcome == "error" ? "it was let through, and failed" : "it ran at once";
}

/// Of a run that failed the audit keeps the failure in the place of the reason.
Display::Field reason(const AuditEntry& entry) {
  if (entry.outcome == "error") return {"failure", entry.reason.value_or("")};
  return {"because", Reasons::told(entry.reason.value_or(""))};
}

std::vector<Display::Field> fields(const Story& story) {
  std::vector<Display::Field> rows;
  const AuditEntry& any = story.decision ? *story.decision : *story.end;
  rows.push_back({"tool", any.action});
  if (story.decision) {
    rows.push_back({"asked by", story.decision->actor + ", " + story.decision->timestamp});
    rows.push_back({"decision", outcome(*story.decision)});
    rows.push_back(reason(*story.decision));
  } else {
    rows.push_back({"decision", "the line of its queueing isn't in the audit any more"});
  }
  if (story.end) {
    const char* end = story.end->outcome == "rejected" ? "rejected"
                      : story.end->outcome == "error"  ? "approved, and failed"
                                                       : "approved";
    rows.push_back({"then", std::string(end) + " by " + story.end->actor + ", " + story.end->timestamp});
  }
  for (const auto& [key, value] : any.details) rows.push_back({"with " + key, value});
  return rows;
}

ExitStatus tell(const std::string& typed, bool json) {
  if (typed.empty()) Usage::wrong("why what? Give the id of a queued action, or a tool's");
  auto story = ofQueuedAction(typed);
  if (!story) story = ofDecidedAction(typed);
  if (!story) story = ofTool(typed);
  if (!story) throw CommandError(ExitStatus::failed, "the audit tells of no action or tool \"" + typed + "\"");
  if (json) {
    OrderedJson record = OrderedJson::object();
    if (story->decision) record["decision"] = toJson(*story->decision);
    if (story->end) record["end"] = toJson(*story->end);
    Display::show(record);
    return ExitStatus::done;
  }
  Display::print(fields(*story));
  return ExitStatus::done;
}

}  // namespace

namespace WhyVerb {

Work why(CLI::App& command) {
  auto typed = std::make_shared<std::string>();
  auto json = std::make_shared<bool>(false);
  command.add_option("ID", *typed,
                     "A queued, approved or rejected action (the first characters will do), or a tool: its last call");
  command.add_flag("--json", *json, "Print the audit's lines as JSON");
  return [typed, json] { return tell(*typed, *json); };
}

}  // namespace WhyVerb
