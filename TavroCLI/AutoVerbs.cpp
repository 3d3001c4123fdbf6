#include "TavroCLI/AutoVerbs.h"

#include <algorithm>
#include <memory>

#include "Platform/Text.h"
#include "TavroCLI/Catalogue.h"
#include "TavroCLI/Display.h"
#include "TavroCLI/Loops.h"
#include "TavroCLI/Nearest.h"
#include "TavroCLI/Owner.h"
#include "TavroCLI/Terminal.h"
#include "TavroCLI/ToolArguments.h"
#include "TavroCLI/Usage.h"
#include "TavroCore/automations/ShellText.h"
#include "TavroCore/automations/VendryEngine.h"
#include "TavroCore/harness/HarnessRunner.h"

namespace {

// ---- The owner's own tools, which are in no catalogue: an agent has no need of them.

std::string stopRun(const Arguments& args) {
  const std::string& name = requiredArgument(args, "name");
  VendryEngine::stop(name);
  return "✅ '" + name + "' stopped";
}

constexpr const char* harvestLoop = "ask-harvest";

/// The program's one loop of its own: it gets the owner's replies in between runs. What was done about it.
std::string keepHarvestLoop() {
  const auto known = VendryEngine::find(harvestLoop);
  if (known && known->kind == Automation::Kind::agent) {
    return std::string("; an agent has the name ") + harvestLoop + ", so replies to questions wait for the next run";
  }
  const auto before = VendryEngine::rawObject(harvestLoop);
  VendryEngine::ensureSystemLoop(harvestLoop, "ask.harvest", 15);
  if (before == VendryEngine::rawObject(harvestLoop)) return "";
  return std::string("; ") + harvestLoop +
         (before ? " was mended" : " was added, which gets your replies to questions");
}

std::string syncAll(const Arguments&) {
  std::string more = keepHarvestLoop();
  VendryEngine::syncAll();
  const auto orphans = VendryEngine::removeOrphans();
  if (!orphans.empty()) more += "; removed the timers of what isn't there: " + Text::join(orphans, ", ");
  int timers = 0, paused = 0;
  std::vector<std::string> without;
  for (const auto& automation : VendryEngine::list()) {
    if (!automation.enabled) {
      ++paused;
    } else if (VendryEngine::isAgentLoaded(automation.name)) {
      ++timers;
    } else {
      without.push_back(automation.name);
    }
  }
  if (!without.empty()) throw Error("no timer could be set for " + Text::join(without, ", "));
  return "✅ automations with a timer: " + std::to_string(timers) + ", paused: " + std::to_string(paused) + more;
}

const std::vector<Tool>& ownTools() {
  static const std::vector<Tool> tools = {
      {.id = "auto.stop", .effect = Effect::create, .build = requiring({"name"}), .nativeRun = stopRun},
      {.id = "auto.sync", .effect = Effect::create, .build = requiring({}), .nativeRun = syncAll},
  };
  return tools;
}

/// The tool behind a verb: "auto stop" is auto.stop.
const Tool& toolOf(const std::string& verb) {
  const std::string id = Text::replaceAll(verb, " ", ".");
  for (const Tool& tool : ownTools()) {
    if (tool.id == id) return tool;
  }
  return Catalogue::get(id);
}

/// Runs it as the owner's decision, past the gate.
ExitStatus perform(const Tool& tool, const Arguments& args) {
  const auto built = HarnessRunner::executeDecided(tool, args, Owner::actor, "owner");
  if (built.ok) {
    Terminal::printForeign(built.output);
  } else {
    Terminal::say("❌ " + built.error);
  }
  return built.ok ? ExitStatus::done : ExitStatus::failed;
}

// ---- add and edit

std::vector<std::string> workKeys() {
  return {"every",      "everyMinutes", "at",      "hours", "prompt", "model",        "client", "effort",
          "background", "screen",       "command", "tool",  "args",   "notifyOnFail", "cwd"};
}

/// A tool passes over a key that it doesn't know; a person who mistyped one would believe that it counts.
void refuseUnknownKeys(const Arguments& args, const std::vector<std::string>& known) {
  for (const auto& [key, value] : args) {
    if (std::find(known.begin(), known.end(), key) != known.end()) continue;
    if (key == "disabled") Usage::wrong("an edit leaves a loop paused or not; `tavro auto disable` pauses it");
    Usage::wrong("an automation has no " + key + Nearest::hint(key, known));
  }
}

/// A tool takes the first that it knows of; a person who gave two would believe in both.
void refuseTwoSchedules(const Arguments& args) {
  const auto given = [&](const char* key) { return args.contains(key) ? 1 : 0; };
  if (given("every") + given("everyMinutes") + given("at") + given("hours") > 1)
    Usage::wrong("an automation has one schedule: every=MINUTES, at=HH:MM or hours=8,12,16");
}

/// What a person says from where they stand, for a timer that stands elsewhere.
std::string fromHere(const std::string& directory) {
  if (directory.empty() || directory.starts_with('~')) return directory;
  const auto absolute = std::filesystem::absolute(directory).lexically_normal();
  return absolute.has_filename() ? absolute : absolute.parent_path();  // without a "/" at its end
}

/// NAME key=value...
Arguments described(const std::vector<std::string>& words, const std::vector<std::string>& known) {
  const auto isPair = [](const std::string& word) { return word.find('=') != word.npos; };
  if (words.empty() || isPair(words.front())) Usage::wrong("the automation's NAME comes first, and then its arguments");
  Arguments args = ToolArguments::parsed({words.begin() + 1, words.end()});
  if (args.empty()) Usage::wrong("what about " + words.front() + "? " + ToolArguments::shape);
  refuseUnknownKeys(args, known);
  refuseTwoSchedules(args);
  if (args.contains("tool")) Catalogue::get(args["tool"]);
  if (args.contains("cwd")) args["cwd"] = fromHere(args["cwd"]);
  args["name"] = words.front();
  return args;
}

/// The loop is there, whatever its first run will say.
ExitStatus performAndTell(const Tool& tool, const Arguments& args) {
  const ExitStatus status = perform(tool, args);
  const auto loop = VendryEngine::find(args.at("name"));
  const auto obstacle = loop && status == ExitStatus::done ? Loops::obstacle(*loop) : std::nullopt;
  if (obstacle) Terminal::say("tavro: warning: " + *obstacle);
  return status;
}

ExitStatus addLoop(const std::vector<std::string>& words) {
  auto known = workKeys();
  known.emplace_back("disabled");
  return performAndTell(toolOf("auto add"), described(words, known));
}

ExitStatus editLoop(const std::vector<std::string>& words) {
  const Arguments args = described(words, workKeys());
  Loops::get(args.at("name"));
  return performAndTell(toolOf("auto edit"), args);
}

Work declareDescription(CLI::App& command, const std::string& verb,
                        ExitStatus (*change)(const std::vector<std::string>& words)) {
  command.footer(
      "When: every=MINUTES, at=HH:MM or hours=8,12,16.\n"
      "What: prompt= [client= model= effort= background=true screen=N], or command= [notifyOnFail=true],\n"
      "or tool= [args=\"key=value ...\" notifyOnFail=true]. Also cwd=DIR, and disabled=true for a new one.\n"
      "Arguments may be key-file=PATH too, for the text of a file (- for standard input): prompt-file=task.md\n");
  command.prefix_command();
  return [&command, verb, change] {
    Owner::require(verb);
    return change(command.remaining());
  };
}

// ---- verbs over names

/// All names are looked up before anything happens to one of them, and each counts once.
struct Selection {
  std::vector<std::string> names;

  void declare(CLI::App& command) {
    command.add_option("NAME", names, "Name of an automation, as `tavro auto list` shows it")->required();
  }

  std::vector<std::string> distinct() const {
    std::vector<std::string> result;
    for (const auto& name : names) {
      if (std::find(result.begin(), result.end(), name) == result.end()) result.push_back(name);
    }
    return result;
  }

  ExitStatus apply(const Tool& tool) const {
    const auto chosen = distinct();
    for (const auto& name : chosen) Loops::get(name);
    return forEach(chosen, tool);
  }

  static ExitStatus forEach(const std::vector<std::string>& chosen, const Tool& tool) {
    ExitStatus status = ExitStatus::done;
    for (const auto& name : chosen) {
      if (perform(tool, {{"name", name}}) != ExitStatus::done) status = ExitStatus::failed;
    }
    return status;
  }
};

struct Removal : Selection {
  Owner::Consent consent = {};

  /// One that is no more than a faulty record can be removed like the others.
  static std::string line(const std::string& name) {
    if (const auto fault = Loops::fault(name)) return *fault;
    const auto loop = Loops::get(name);
    const std::string running =
        loop.running ? " (running now; that run goes on unless `tavro auto stop` ends it first)" : "";
    const std::string work = Loops::work(loop);  // whole: the end of a command counts as well
    const auto shown = loop.kind == Automation::Kind::agent ? Text::firstCharacters(work, 60) : std::string_view(work);
    return std::string(rawValue(loop.kind)) + " automation, " + loop.schedule.display() + " - " + std::string(shown) +
           running;
  }

  ExitStatus run() const {
    std::string matter;
    for (const auto& name : distinct()) {
      const std::string what = line(name);  // throws before an unknown name is shown
      matter += "  " + Display::harmless(name) + ": " + Display::harmless(what) + "\n";
    }
    if (!consent.ask(matter, "Remove for good, with its prompt and its timer?")) {
      Terminal::say("nothing was removed");
      return ExitStatus::failed;
    }
    return forEach(distinct(), toolOf("auto rm"));
  }
};

/// Who has no display here, over SSH for instance, can still attach in this terminal.
ExitStatus attachTo(const std::string& name) try {
  VendryEngine::attach(name);
  return ExitStatus::done;
} catch (const Error& failure) {
  if (!VendryEngine::hasSession(name)) throw;
  throw Error(failure.description() + "; this shows it right here: tmux -S " +
              ShellText::word(VendryEngine::tmuxSocket().string()) + " attach -t " + ShellText::word(name));
}

Work declareSelection(CLI::App& command, const std::string& verb) {
  auto selection = std::make_shared<Selection>();
  selection->declare(command);
  return [selection, verb] {
    Owner::require(verb);
    return selection->apply(toolOf(verb));
  };
}

}  // namespace

namespace AutoVerbs {

Work add(CLI::App& command) { return declareDescription(command, "auto add", addLoop); }
Work edit(CLI::App& command) { return declareDescription(command, "auto edit", editLoop); }
Work enable(CLI::App& command) { return declareSelection(command, "auto enable"); }
Work disable(CLI::App& command) { return declareSelection(command, "auto disable"); }
Work run(CLI::App& command) { return declareSelection(command, "auto run"); }
Work stop(CLI::App& command) { return declareSelection(command, "auto stop"); }

Work remove(CLI::App& command) {
  auto removal = std::make_shared<Removal>();
  removal->declare(command);
  removal->consent.declare(command, "auto rm");
  return [removal] {
    removal->consent.requireOwner();
    return removal->run();
  };
}

Work attach(CLI::App& command) {
  auto name = std::make_shared<std::string>();
  command.add_option("NAME", *name, "Name of an automation that runs in the background")->required();
  return [name] {
    Owner::require("auto attach");
    return attachTo(Loops::get(*name).name);
  };
}

Work sync(CLI::App&) {
  return [] {
    Owner::require("auto sync");
    return perform(toolOf("auto sync"), {});
  };
}

}  // namespace AutoVerbs
