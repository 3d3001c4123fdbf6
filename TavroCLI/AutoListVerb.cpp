// `tavro auto list`: what there is, when each ran and how it went, and when it runs next.
#include <memory>

#include "Platform/Environment.h"
#include "Platform/Json.h"
#include "TavroCLI/Ages.h"
#include "TavroCLI/AutoVerbs.h"
#include "TavroCLI/Display.h"
#include "TavroCLI/Loops.h"
#include "TavroCLI/Terminal.h"
#include "TavroCore/automations/VendryEngine.h"

namespace {

using Terminal::Style;

Display::Cell state(const Automation& automation) {
  if (automation.running) return {"running", Style::green};
  return automation.enabled ? Display::Cell{"on"} : Display::Cell{"paused", Style::yellow};
}

struct OutcomeWords {
  const char* name;
  Style style;
};

OutcomeWords words(RunOutcome outcome) {
  switch (outcome) {
    case RunOutcome::ok:
      return {"ok", Style::green};
    case RunOutcome::stopped:
      return {"stopped", Style::yellow};
    case RunOutcome::failed:
      break;
  }
  return {"failed", Style::red};
}

Display::Cell outcome(const Automation& automation) {
  const auto outcome = automation.lastOutcome();
  if (!outcome) return {""};
  const auto [name, style] = words(*outcome);
  const bool failed = outcome == RunOutcome::failed;
  return {name + (failed ? " (" + std::to_string(*automation.lastExit) + ")" : std::string()), style};
}

std::string time(const std::optional<Dates::Instant>& instant) {
  return instant ? Ages::listed(Dates::iso8601(*instant)) : "";
}

template <typename Value>
void put(OrderedJson& json, const char* key, const std::optional<Value>& value) {
  if (value) json[key] = *value;
}

void put(OrderedJson& json, const char* key, const std::optional<Dates::Instant>& instant) {
  if (instant) json[key] = Dates::iso8601(*instant);
}

OrderedJson record(const Automation& automation) {
  OrderedJson json = {{"name", automation.name},       {"kind", rawValue(automation.kind)},
                      {"enabled", automation.enabled}, {"running", automation.running},
                      {"system", automation.isSystem}, {"schedule", toJson(automation.schedule)}};
  put(json, "next", Loops::nextRun(automation));
  put(json, "lastRun", automation.lastRun);
  put(json, "lastExit", automation.lastExit);
  if (const auto outcome = automation.lastOutcome()) json["lastOutcome"] = words(*outcome).name;
  put(json, "cwd", automation.cwd);
  if (automation.kind != Automation::Kind::agent) {
    put(json, "command", automation.command);
    json["notifyOnFail"] = automation.notifyOnFail;
    return json;
  }
  put(json, "prompt", automation.prompt);
  json["client"] = automation.client;
  put(json, "model", automation.model);
  put(json, "effort", automation.effort);
  json["visible"] = automation.visible;
  put(json, "screen", automation.screen);
  return json;
}

void asJson(const std::vector<Automation>& automations) {
  std::vector<OrderedJson> records;
  for (const auto& automation : automations) records.push_back(record(automation));
  Display::list(records);
}

void asTable(const std::vector<Automation>& automations) {
  std::vector<Display::Cells> rows;
  for (const auto& automation : automations) {
    rows.push_back({{automation.name, Style::bold},
                    {std::string(rawValue(automation.kind))},
                    state(automation),
                    {automation.schedule.display()},
                    {time(Loops::nextRun(automation))},
                    {time(automation.lastRun)},
                    outcome(automation),
                    {Loops::work(automation)}});
  }
  Display::list({"NAME", "KIND", "STATE", "SCHEDULE", "NEXT", "LAST", "OUTCOME", "WORK"}, rows);
  if (rows.empty()) Terminal::say("there are no automations; `tavro auto add` makes one");
}

/// What a look at the list can't show: loops that won't run although they should.
bool tellOfFaults(const std::vector<Automation>& automations) {
  const auto faults = Loops::faults();
  for (const auto& [name, fault] : faults)
    Terminal::say("tavro: the automation " + name + " doesn't count, for " + fault + "; `tavro auto rm` removes it");
  for (const auto& each : automations) {
    if (!each.enabled || Loops::hasTimer(each)) continue;
    Terminal::say("tavro: the automation " + each.name + " has no timer; `tavro auto sync` gives it one");
  }
  return !faults.empty();
}

/// Timers hold the paths of the command and of the home. A run leaves them alone: they are the owner's.
void followMove() {
  if (Environment::value("VENDRY_RUN") || !VendryEngine::resyncIfRelocated()) return;
  Terminal::say("tavro: the command or the home has moved; the timers of all automations were set anew");
}

ExitStatus show(bool json) {
  followMove();
  const auto automations = VendryEngine::list();
  json ? asJson(automations) : asTable(automations);
  return tellOfFaults(automations) ? ExitStatus::failed : ExitStatus::done;
}

}  // namespace

namespace AutoVerbs {

Work list(CLI::App& command) {
  auto json = std::make_shared<bool>(false);
  command.add_flag("--json", *json, "Print JSON");
  return [json] { return show(*json); };
}

}  // namespace AutoVerbs
