#include "TavroCore/automations/AutomationDraft.h"

#include "Platform/Dates.h"
#include "Platform/Environment.h"
#include "Platform/Json.h"
#include "Platform/Text.h"
#include "TavroCore/automations/ShellText.h"
#include "TavroCore/automations/VendryEngine.h"

namespace {

double secondsSince1970() { return std::chrono::duration<double>(Dates::now().time_since_epoch()).count(); }

// ---- What the work leaves in a record, new or edited.

void enter(Json& record, const AutomationDraft::Agent& agent) {
  record["model"] = agent.model;
  record["client"] = agent.client;
  record["visible"] = agent.visible;
  record.erase("effort");
  if (agent.effort && !agent.effort->empty()) record["effort"] = *agent.effort;
  if (agent.screen) record["screen"] = *agent.screen;
}

void enter(Json& record, const AutomationDraft::Script& script) {
  record["command"] = script.command;
  record["notifyOnFail"] = script.notifyOnFail;
}

void enter(Json& record, const AutomationDraft::Tool& tool) {
  record["command"] = AutomationDraft::toolCommand(tool.tool, tool.args);
  record["notifyOnFail"] = tool.notifyOnFail;
}

void enter(Json& record, const AutomationDraft& draft) {
  record["schedule"] = toJson(draft.schedule);
  if (const auto cwd = draft.expandedCwd()) record["cwd"] = *cwd;
  std::visit([&](const auto& work) { enter(record, work); }, draft.work);
}

}  // namespace

std::optional<std::string> AutomationDraft::agentPrompt() const {
  const auto* agent = std::get_if<Agent>(&work);
  if (!agent) return std::nullopt;
  return agent->prompt;
}

std::optional<std::string> AutomationDraft::expandedCwd() const {
  if (!cwd || cwd->empty()) return std::nullopt;
  return Environment::expandTilde(*cwd).string();
}

Json AutomationDraft::addObject() const {
  Json record = {{"name", name}, {"createdAt", secondsSince1970()}, {"timeoutSeconds", 0}};
  if (!std::holds_alternative<Agent>(work)) record["kind"] = "script";
  enter(record, *this);
  return record;
}

Json AutomationDraft::applied(Json record) const {
  record.erase("prompt");
  record.erase("enabled");
  enter(record, *this);
  return record;
}

std::string AutomationDraft::toolCommand(std::string_view tool, std::string_view args) {
  std::string command = ShellText::quoted(VendryEngine::tavroBinaryForLaunchd().string()) + " run ";
  command += tool;
  const auto given = Text::trimBlanks(args);
  if (!given.empty()) command += " " + std::string(given);
  return command;
}
