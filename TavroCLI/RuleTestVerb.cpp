// `tavro rule test`: what the gate would decide about a call, asked of the gate itself. Nothing runs and nothing is
// written.
#include <memory>

#include "Platform/Json.h"
#include "TavroCLI/Display.h"
#include "TavroCLI/PolicyVerbs.h"
#include "TavroCLI/Reasons.h"
#include "TavroCLI/Terminal.h"
#include "TavroCLI/ToolArguments.h"
#include "TavroCore/harness/HarnessConfig.h"
#include "TavroCore/harness/HarnessRunner.h"
#include "TavroCore/harness/TavroDB.h"

namespace {

struct Words {
  const char* decision;
  Terminal::Style style;
  ExitStatus status;  // as `tavro run` would end
};

Words words(ActionPolicy::Decision decision) {
  switch (decision) {
    case ActionPolicy::Decision::automatic:
      return {"runs at once", Terminal::Style::green, ExitStatus::done};
    case ActionPolicy::Decision::ask:
      return {"waits for you", Terminal::Style::yellow, ExitStatus::queued};
    case ActionPolicy::Decision::deny:
      break;
  }
  return {"is refused", Terminal::Style::red, ExitStatus::denied};
}

struct Trial {
  std::vector<std::string> typed = {};
  bool json = false;

  ExitStatus run() const {
    const auto call = ToolArguments::call(typed);
    TavroDB::forProcess();  // the gate goes on without its rules; the owner hears of it
    return tell(call.tool, HarnessRunner::decide(call.tool, call.args));
  }

  ExitStatus tell(const Tool& tool, const ActionPolicy::Outcome& outcome) const {
    const auto [decision, style, status] = words(outcome.decision);
    const std::string mode(AutonomyModes::rawValue(HarnessConfig::load().autonomyMode));
    const std::string effect(rawValue(tool.effect));
    if (json) {
      Display::show(
          {{"tool", tool.id}, {"effect", effect}, {"mode", mode}, {"decision", decision}, {"reason", outcome.reason}});
    } else {
      Display::print({{"tool", tool.id + " (" + effect + ")"},
                      {"mode", mode},
                      {"decision", "it " + std::string(decision)},
                      {"because", Reasons::told(outcome.reason)}});
    }
    return status;
  }
};

}  // namespace

Work PolicyVerbs::ruleTest(CLI::App& command) {
  auto trial = std::make_shared<Trial>();
  command.add_option("TOOL", trial->typed, "A tool's id, and then its arguments");
  command.add_flag("--json", trial->json, "Print JSON");
  command.footer(std::string("The ") + ToolArguments::shape +
                 ".\nExit status: 0 it would run at once, 3 it would wait, 4 it would be refused.\n");
  return [trial] { return trial->run(); };
}
