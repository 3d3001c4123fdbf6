#include "TavroCLI/QueueVerbs.h"

#include <functional>
#include <memory>
#include <utility>

#include "Platform/Environment.h"
#include "Platform/Json.h"
#include "TavroCLI/Display.h"
#include "TavroCLI/Nearest.h"
#include "TavroCLI/Owner.h"
#include "TavroCLI/Picks.h"
#include "TavroCLI/QueueAudit.h"
#include "TavroCLI/Terminal.h"
#include "TavroCLI/Usage.h"
#include "TavroCore/harness/Approval.h"
#include "TavroCore/harness/ConfigDir.h"
#include "TavroCore/harness/Tools.h"

using Approval::Item;
using Approval::State;

namespace {

struct StateWords {
  const char* name;  // as listings show it
  const char* meaning;
  Terminal::Style style;
};

StateWords words(State state) {
  switch (state) {
    case State::waiting:
      return {"waiting", "waiting", Terminal::Style::plain};
    case State::running:
      return {"running", "running: it has been approved and isn't finished", Terminal::Style::green};
    case State::interrupted:
      break;
  }
  return {"interrupted", "interrupted: an approval was cut off, so it may have run already", Terminal::Style::red};
}

PendingStore openQueue() {
  ConfigDir::ensure();
  return PendingStore(ConfigDir::url());
}

OrderedJson record(const Item& item) {
  OrderedJson json = toJson(item.action);
  json["state"] = words(item.state).name;
  return json;
}

/// The queued action that `typed` names. It is read again under the very name that an approval will use, and that name
/// counts as its id, so that a file which claims another action's id can't be shown in its place.
Item named(const PendingStore& store, const std::string& typed) {
  std::vector<std::string> ids;
  for (const auto& item : Approval::list(store)) ids.push_back(item.action.id);
  const std::string id = Nearest::id("queued action", typed, ids);
  auto item = Approval::get(store, id);
  if (!item) throw CommandError(ExitStatus::failed, "the action " + id + " has left the queue meanwhile");
  item->action.id = id;
  return std::move(*item);
}

/// What a run has asked for is done as a part of it: a question of its own gets its answer back to it.
std::unique_ptr<Environment::Setting> inTheRunOf(std::string_view actor) {
  constexpr std::string_view loop = "vendry:";
  if (!actor.starts_with(loop) || actor.find(" or ") != actor.npos) return nullptr;
  return std::make_unique<Environment::Setting>("VENDRY_RUN", std::string(actor.substr(loop.size())));
}

constexpr const char* untold = "(not told)";

std::string impactNow(const Tool& tool, const Arguments& args) {
  try {
    buildScript(tool, args);
    const auto impact = tool.preview ? tool.preview(args) : std::nullopt;
    return impact.value_or(untold);
  } catch (const Error& failure) {
    return "❌ " + failure.description();
  }
}

/// The whole action, for a person to judge; with the impact as it is now, where that was asked.
std::vector<Display::Field> describe(const Item& item, const std::optional<std::string>& now = std::nullopt) {
  const PendingAction& action = item.action;
  const Tool* known = Tools::find(action.tool);
  std::vector<Display::Field> rows = {
      {"action", action.id},
      {"tool", action.tool + (known ? " (" + std::string(rawValue(known->effect)) + ")" : " (not in the catalogue)")},
      {"asked by", QueueAudit::asker(action) + ", " + action.createdAt},
      {"state", words(item.state).meaning},
  };
  for (const auto& [key, value] : action.args) rows.push_back({"with " + key, value});
  rows.push_back({now ? "impact then" : "impact", action.preview.value_or(untold)});
  if (now) rows.push_back({"impact now", *now});
  return rows;
}

[[noreturn]] void refuse(const std::string& id, Approval::Refusal refusal, const std::string& tool) {
  const auto text = [&]() -> std::string {
    switch (refusal) {
      case Approval::Refusal::notThere:
        return "the action " + id + " has left the queue meanwhile";
      case Approval::Refusal::running:
        return "the action " + id + " is running already: another approval is at it";
      case Approval::Refusal::interrupted:
        return "an approval of " + id + " was cut off, so it may have run already; look whether it did, then either " +
               "`tavro approve " + id + " --again` or `tavro reject " + id + "`";
      case Approval::Refusal::changed:
        return "the action " + id + " is not the one that was shown any more; look at it again";
      case Approval::Refusal::unknownTool:
        break;
    }
    return "the action " + id + " needs the tool " + tool + ", which the catalogue doesn't have; it stays in the queue";
  }();
  throw CommandError(ExitStatus::failed, text);
}

ExitStatus report(const HarnessRunner::Built& built) {
  if (!built.ok) {
    Terminal::say("❌ " + built.error);
    return ExitStatus::failed;
  }
  Terminal::printForeign(built.output.empty() ? "✅ ok" : built.output);
  return ExitStatus::done;
}

/// Does `one` for each id in turn; one that fails is told and doesn't stop the others. Throws where nobody can be
/// asked.
ExitStatus forEach(const std::vector<std::string>& ids, const std::function<ExitStatus(const std::string&)>& one) {
  ExitStatus status = ExitStatus::done;
  for (const auto& id : ids) {
    try {
      if (one(id) != ExitStatus::done) status = ExitStatus::failed;
    } catch (const Owner::NobodyToAsk&) {
      throw;
    } catch (const Error& failure) {
      Terminal::say("tavro: " + failure.description());
      status = ExitStatus::failed;
    }
  }
  return status;
}

ExitStatus keptInQueue(const std::string& id) {
  Terminal::say(id + " stays in the queue");
  return ExitStatus::failed;
}

struct Decision {
  std::vector<std::string> ids;
  Owner::Consent consent;
  bool again = false;

  ExitStatus approve(const std::string& typed) const {
    const PendingStore store = openQueue();
    return approve(store, named(store, typed));
  }

  /// `isPicked`: the person has seen the action and chosen it. A changed impact is asked about all the same.
  ExitStatus approve(const PendingStore& store, const Item& item, bool isPicked = false) const {
    const std::string& id = item.action.id;
    const std::string& toolID = item.action.tool;
    const Tool* tool = Tools::find(toolID);
    if (!tool) refuse(id, Approval::Refusal::unknownTool, toolID);
    if (item.state == State::running) refuse(id, Approval::Refusal::running, toolID);
    if (item.state == State::interrupted && !again) refuse(id, Approval::Refusal::interrupted, toolID);
    if (!isPicked) consent.require();  // before a preview that may take long
    const std::string now = impactNow(*tool, item.action.args);
    const bool changed = now != item.action.preview.value_or(untold);
    const auto question = changed ? "The impact isn't what it was when this was queued. Run it?" : "Run it?";
    if ((changed || !isPicked) && !consent.ask(Display::fields(describe(item, now), Terminal::columns()), question)) {
      return keptInQueue(id);
    }
    const auto asked = inTheRunOf(QueueAudit::asker(item.action));
    const auto outcome = [&] {
      const Terminal::Progress progress("running " + toolID);
      return Approval::approve(store, item.action, Owner::actor, again);
    }();
    if (const auto* refusal = std::get_if<Approval::Refusal>(&outcome)) refuse(id, *refusal, toolID);
    return report(std::get<HarnessRunner::Built>(outcome));
  }

  ExitStatus reject(const std::string& typed) const {
    const PendingStore store = openQueue();
    return reject(store, named(store, typed));
  }

  ExitStatus reject(const PendingStore& store, const Item& item, bool isPicked = false) const {
    const std::string& id = item.action.id;
    if (!isPicked && !consent.ask(Display::fields(describe(item), Terminal::columns()), "Drop it without running it?"))
      return keptInQueue(id);
    if (const auto refusal = Approval::reject(store, id, Owner::actor)) refuse(id, *refusal, item.action.tool);
    Terminal::say(id + " is rejected");
    return ExitStatus::done;
  }
};

/// All that wait, each whole and with a number, for a person to choose from; again until nothing more is chosen.
class Picker {
 public:
  explicit Picker(const Decision& decision) : decision_(decision) {}

  ExitStatus run() {
    for (std::string note;;) {
      const PendingStore store = openQueue();
      const auto items = Approval::list(store);
      if (items.empty()) {
        Terminal::say("nothing waits for approval");
        return status_;
      }
      const auto choice = Picks::parse(
          Terminal::askLine(listing(items) + std::exchange(note, ""),
                            "Which run? Numbers (1 3-5) or all; r and numbers to reject; Enter leaves the rest:"),
          items.size());
      if (!choice) {
        note = "That isn't a choice among 1 to " + std::to_string(items.size()) + ".\n";
        continue;
      }
      if (choice->numbers.empty()) return status_;
      for (const std::size_t number : choice->numbers) decide(store, items[number - 1], choice->reject);
    }
  }

 private:
  static std::string listing(const std::vector<Item>& items) {
    std::string text;
    for (std::size_t i = 0; i < items.size(); ++i) {
      text += (i == 0 ? "" : "\n") + std::to_string(i + 1) + ".\n";
      text += Display::fields(describe(items[i]), Terminal::columns());
    }
    return text + "\n";
  }

  void decide(const PendingStore& store, const Item& item, bool isReject) try {
    const auto done = isReject ? decision_.reject(store, item, true) : decision_.approve(store, item, true);
    if (done != ExitStatus::done) status_ = ExitStatus::failed;
  } catch (const Error& failure) {
    Terminal::say("tavro: " + failure.description());
    status_ = ExitStatus::failed;
  }

  const Decision& decision_;
  ExitStatus status_ = ExitStatus::done;
};

std::shared_ptr<Decision> declareDecision(CLI::App& command, const std::string& verb) {
  auto decision = std::make_shared<Decision>();
  command.add_option("ID", decision->ids,
                     "Id of a queued action; its first characters will do. Without one, choose among all that wait");
  decision->consent.declare(command, verb);
  return decision;
}

/// Consent given beforehand is no choice.
ExitStatus pick(const Decision& decision, const std::string& verb) {
  if (decision.consent.given || !Terminal::canAsk()) Usage::wrong(verb + " which? `tavro pending` lists what waits");
  return Picker(decision).run();
}

struct Listing {
  std::string id;
  bool json = false;

  ExitStatus one() const {
    const Item item = named(openQueue(), id);
    if (json) {
      Display::show(record(item));
    } else {
      Display::print(describe(item));
    }
    return ExitStatus::done;
  }

  ExitStatus all() const {
    std::vector<OrderedJson> records;
    std::vector<Display::Cells> rows;
    for (const auto& item : Approval::list(openQueue())) {
      const auto& action = item.action;
      records.push_back(record(item));
      rows.push_back({{action.id, Terminal::Style::bold},
                      {words(item.state).name, words(item.state).style},
                      {action.createdAt},
                      {action.summary},
                      {action.preview.value_or("")}});
    }
    if (json) {
      Display::list(records);
    } else {
      Display::list({"ID", "STATE", "QUEUED", "ACTION", "IMPACT"}, rows);
      if (rows.empty()) Terminal::say("nothing waits for approval");
    }
    return ExitStatus::done;
  }
};

}  // namespace

namespace QueueVerbs {

Work pending(CLI::App& command) {
  auto listing = std::make_shared<Listing>();
  command.add_option("ID", listing->id, "Show this action whole; the first characters of its id will do");
  command.add_flag("--json", listing->json, "Print JSON");
  return [listing] { return listing->id.empty() ? listing->all() : listing->one(); };
}

Work approve(CLI::App& command) {
  auto decision = declareDecision(command, "approve");
  command.add_flag("--again", decision->again, "Also an action whose approval was cut off: it may run a second time");
  return [decision] {
    decision->consent.requireOwner();
    if (decision->ids.empty()) return pick(*decision, "approve");
    return forEach(decision->ids, [&](const std::string& id) { return decision->approve(id); });
  };
}

Work reject(CLI::App& command) {
  auto decision = declareDecision(command, "reject");
  return [decision] {
    decision->consent.requireOwner();
    if (decision->ids.empty()) return pick(*decision, "reject");
    return forEach(decision->ids, [&](const std::string& id) { return decision->reject(id); });
  };
}

}  // namespace QueueVerbs
