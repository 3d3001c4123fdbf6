#include "TavroCore/automations/AutomationTools.h"

#include <algorithm>

#include "Platform/Text.h"
#include "TavroCore/automations/AgentClients.h"
#include "TavroCore/automations/RunLog.h"
#include "TavroCore/automations/VendryEngine.h"

namespace {

using Kind = Automation::Kind;

/// The text of an argument that is given, be it empty; nothing for one that isn't.
std::optional<std::string> given(const Arguments& args, const char* key) {
  const auto found = args.find(key);
  return found == args.end() ? std::nullopt : std::optional(found->second);
}

bool isTrue(const std::string& text) {
  const std::string word = Text::lowercase(text);
  return word == "true" || word == "1" || word == "yes";
}

std::optional<bool> givenTruth(const Arguments& args, const char* key) {
  const auto text = given(args, key);
  return text ? std::optional(isTrue(*text)) : std::nullopt;
}

Schedule::Interval everyMinutes(const std::string& text) {
  const auto minutes = Text::parseInteger(text);
  if (!minutes || *minutes < 1) throw ToolError::badArg("every= must be minutes > 0");
  return {.minutes = *minutes};
}

Schedule::Calendar timeOfDay(const std::string& text) {
  const auto pieces = Text::split(text, ':', true);
  const auto within = [&](std::size_t piece, long long limit) -> std::optional<long long> {
    const auto number = Text::parseInteger(pieces[piece]);
    return number && *number >= 0 && *number < limit ? number : std::nullopt;
  };
  const auto hour = pieces.size() == 2 ? within(0, 24) : std::nullopt;
  const auto minute = pieces.size() == 2 ? within(1, 60) : std::nullopt;
  if (!hour || !minute) throw ToolError::badArg("at= must be HH:MM");
  return {.hour = *hour, .minute = *minute};
}

Schedule::Hours hoursOfDay(const std::string& text) {
  auto hours = Schedule::parseHours(text);
  if (!hours) throw ToolError::badArg("hours= must be a comma list of 0-23");
  return {.hours = std::move(*hours), .minute = 0};
}

/// The first key that is given decides, be it empty.
Schedule scheduleFrom(const Arguments& args, const std::optional<Automation>& existing) {
  if (const auto every = given(args, "every")) return {everyMinutes(*every)};
  if (const auto every = given(args, "everyMinutes")) return {everyMinutes(*every)};
  if (const auto at = given(args, "at")) return {timeOfDay(*at)};
  if (const auto hours = given(args, "hours")) return {hoursOfDay(*hours)};
  if (!existing) throw ToolError::missingArg("schedule: every= | at= | hours=");
  return existing->schedule;
}

/// An agent stays one, and nothing else becomes one: their records have different fields.
void refuseChangeOfKind(const Arguments& args, const std::string& name, Kind kind) {
  const bool changes =
      kind == Kind::agent ? args.contains("command") || args.contains("tool") : args.contains("prompt");
  if (!changes) return;
  throw ToolError::badArg("'" + name + "' is " + (kind == Kind::agent ? "an " : "a ") + std::string(rawValue(kind)) +
                          " automation - rm + add to change its kind");
}

std::string clientFrom(const Arguments& args, const std::optional<Automation>& existing) {
  const std::string client = given(args, "client").value_or(existing ? existing->client : "claude");
  const auto known = AgentClients::ids();
  if (std::find(known.begin(), known.end(), client) != known.end()) return client;
  throw ToolError::badArg("client must be one of " + Text::join(known, ", "));
}

AutomationDraft::Agent agentFrom(const Arguments& args, std::string prompt, const std::optional<Automation>& existing) {
  const auto background = givenTruth(args, "background");
  AutomationDraft::Agent agent = {.prompt = std::move(prompt)};
  agent.visible = background ? !*background : !existing || existing->visible;
  agent.client = clientFrom(args, existing);
  agent.model = given(args, "model").value_or(existing && existing->model ? *existing->model : "sonnet");
  agent.effort = given(args, "effort");
  agent.screen = Text::parseInteger(argument(args, "screen"));
  if (existing && !agent.effort) agent.effort = existing->effort;
  if (existing && !agent.screen) agent.screen = existing->screen;
  return agent;
}

AutomationDraft::Work workFrom(const Arguments& args, const std::optional<Automation>& existing) {
  const bool notify = givenTruth(args, "notifyOnFail").value_or(existing && existing->notifyOnFail);
  if (const auto tool = given(args, "tool")) return AutomationDraft::Tool{*tool, argument(args, "args"), notify};
  if (const auto command = given(args, "command")) return AutomationDraft::Script{*command, notify};
  if (const auto prompt = given(args, "prompt")) return agentFrom(args, *prompt, existing);
  // A script's record may hold the prompt of an older life; only an agent's is its work.
  if (existing && existing->kind == Kind::agent && existing->prompt)
    return agentFrom(args, *existing->prompt, existing);
  // A tool is stored as the script that it becomes, and is read back as a tool.
  if (existing && existing->kind != Kind::agent && existing->command)
    return AutomationDraft::Script{*existing->command, notify};
  throw ToolError::missingArg("work: prompt= | command= | tool=");
}

Automation find(const std::string& name) {
  auto automation = VendryEngine::find(name);
  if (!automation) throw ToolError::badArg("no automation named '" + name + "' (see auto.list)");
  return std::move(*automation);
}

std::string listedKind(const Automation& automation) {
  if (automation.kind != Kind::agent) return std::string(rawValue(automation.kind));
  return automation.visible ? "agent/window" : "agent/bg";
}

std::string status(const Automation& automation) {
  if (automation.running) return "running";
  const auto ok = automation.lastRunOK();
  if (!ok) return "never ran";
  return (*ok ? "ok" : "FAILED(exit " + std::to_string(automation.lastExit.value_or(-1)) + ")") +
         (automation.lastRun ? " @ " + Dates::iso8601(*automation.lastRun) : "");
}

std::string detail(const Automation& automation, std::size_t characters) {
  return std::string(Text::firstCharacters(automation.workSummary(), characters));
}

std::string line(const Automation& automation) {
  return automation.name + (automation.isSystem ? " [sys] " : " ") + (automation.enabled ? " " : "✗") + " [" +
         listedKind(automation) + "] " + automation.schedule.display() + "  " + status(automation) + "  - " +
         detail(automation, 80);
}

std::string list(const Arguments&) {
  std::vector<std::string> lines;
  for (const auto& automation : VendryEngine::list()) lines.push_back(line(automation));
  return lines.empty() ? "(no automations - auto.add to create one)" : Text::join(lines, "\n");
}

std::string logTail(const Arguments& args) {
  const std::string name = find(requiredArgument(args, "name")).name;
  const long long lines = Text::parseInteger(argument(args, "lines")).value_or(80);
  return RunLog::lastLines(VendryEngine::logURL(name), std::max(lines, 0LL))
      .value_or("(no log yet for '" + name + "')");
}

std::string add(const Arguments& args) {
  const std::string& name = requiredArgument(args, "name");
  const auto draft = AutomationTools::draftFrom(args, name, std::nullopt);
  VendryEngine::add(draft);
  return "✅ automation '" + name + "' created - " + draft.schedule.display();
}

std::string edit(const Arguments& args) {
  const std::string& name = requiredArgument(args, "name");
  VendryEngine::edit(AutomationTools::draftFrom(args, name, find(name)));
  return "✅ automation '" + name + "' updated";
}

std::string setEnabled(const Arguments& args, bool enabled) {
  const std::string name = find(requiredArgument(args, "name")).name;
  VendryEngine::setEnabled(name, enabled);
  return "✅ '" + name + (enabled ? "' enabled" : "' disabled");
}

std::string runNow(const Arguments& args) {
  const std::string name = find(requiredArgument(args, "name")).name;
  VendryEngine::runNow(name);
  return "▶ '" + name + "' started - auto.log name=" + name + " to follow";
}

std::string removeLoop(const Arguments& args) {
  const std::string& name = requiredArgument(args, "name");
  VendryEngine::remove(name);
  return "🗑 '" + name + "' removed";
}

std::optional<std::string> removalPreview(const Arguments& args) {
  const auto automation = VendryEngine::find(argument(args, "name"));
  if (!automation) return std::nullopt;
  return std::string(rawValue(automation->kind)) + " automation, " + automation->schedule.display() + " - " +
         detail(*automation, 60);
}

}  // namespace

AutomationDraft AutomationTools::draftFrom(const Arguments& args, const std::string& name,
                                           const std::optional<Automation>& existing) {
  const Schedule schedule = scheduleFrom(args, existing);  // the first fault in this order is the one that is told
  if (existing) refuseChangeOfKind(args, name, existing->kind);
  auto cwd = given(args, "cwd");
  if (existing && !cwd) cwd = existing->cwd;
  return {.name = name,
          .work = workFrom(args, existing),
          .schedule = schedule,
          .cwd = std::move(cwd),
          .enabled = !givenTruth(args, "disabled").value_or(false)};
}

std::vector<Tool> AutomationTools::all() {
  return {
      {
          .id = "auto.list",
          .summary =
              "List the scheduled automations (vendry engine): name, kind (agent|script|tool), enabled, schedule, last "
              "run + exit. Read-only. No args.",
          .effect = Effect::read,
          .build = requiring({}),
          .nativeRun = list,
      },
      {
          .id = "auto.log",
          .summary = "Tail an automation's log (name, [lines=80]). Read-only.",
          .effect = Effect::read,
          .build = requiring({"name"}),
          .nativeRun = logTail,
      },
      {
          .id = "auto.add",
          .summary =
              "Create an automation. Args: name, schedule (one of: every=MINUTES | at=HH:MM | hours=8,12,16), and ONE "
              "work kind - agent: prompt= [model=sonnet|opus, alias resolved to the latest by the CLI] "
              "[effort=low|medium|high|xhigh|max] [background=true] [screen=N] · script: command= [notifyOnFail=true] "
              "· tool: tool=<harness tool id> [args=\"k=v k=v\"] [notifyOnFail=true]. Common: [cwd=DIR] "
              "[disabled=true]. Runs via launchd even when the cockpit is closed.",
          .effect = Effect::create,
          .build = requiring({"name"}),
          .nativeRun = add,
      },
      {
          .id = "auto.edit",
          .summary =
              "Edit an automation (same args as auto.add; name and kind are fixed - rm + add to change them). Only "
              "pass what changes; schedule args replace the schedule.",
          .effect = Effect::create,
          .build = requiring({"name"}),
          .nativeRun = edit,
      },
      {
          .id = "auto.enable",
          .summary = "Enable an automation (name).",
          .effect = Effect::create,
          .build = requiring({"name"}),
          .nativeRun = [](const Arguments& args) { return setEnabled(args, true); },
      },
      {
          .id = "auto.disable",
          .summary = "Disable an automation without deleting it (name).",
          .effect = Effect::create,
          .build = requiring({"name"}),
          .nativeRun = [](const Arguments& args) { return setEnabled(args, false); },
      },
      {
          .id = "auto.run",
          .summary = "Trigger an automation NOW, detached (name) - returns immediately; follow with auto.log.",
          .effect = Effect::create,
          .build = requiring({"name"}),
          .nativeRun = runNow,
      },
      {
          .id = "auto.rm",
          .summary = "Delete an automation and its launchd agent (name). Irreversible -> approval.",
          .effect = Effect::destructive,
          .build = requiring({"name"}),
          .nativeRun = removeLoop,
          .preview = removalPreview,
      },
  };
}
