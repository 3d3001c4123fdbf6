#include "TavroCLI/RunVerb.h"

#include <optional>

#include "Platform/Environment.h"
#include "Platform/Text.h"
#include "TavroCLI/Terminal.h"
#include "TavroCLI/ToolArguments.h"
#include "TavroCore/harness/AuditLog.h"
#include "TavroCore/harness/ConfigDir.h"
#include "TavroCore/harness/HarnessRunner.h"
#include "TavroCore/harness/PendingStore.h"

namespace {

std::string actor() {
  const auto loop = Environment::value("VENDRY_RUN");
  return loop ? "vendry:" + Text::repairUTF8(*loop) : "cli";
}

ExitStatus report(const HarnessRunner::Executed& result) {
  Terminal::printForeign(result.output.empty() ? "✅ ok" : result.output);
  return ExitStatus::done;
}

/// The lines that an agent's client would show, with what the reader of this one can do about it.
ExitStatus report(const HarnessRunner::Pending& result) {
  std::string text = "⏸ Destructive action queued for human approval (id=" + result.id + ").\n";
  if (result.preview) text += "Impact: " + *result.preview + "\n";
  Terminal::printForeign(text + "It will NOT run until a human approves it: tavro approve " + result.id);
  return ExitStatus::queued;
}

ExitStatus report(const HarnessRunner::Failed& result) {
  Terminal::say("❌ " + result.message);
  return result.denied ? ExitStatus::denied : ExitStatus::failed;
}

/// An automation asks for the same at each of its runs. What waits already isn't queued once more: the owner would find
/// it there a hundred times. The audit has a line all the same.
std::optional<HarnessRunner::Pending> waitsAlready(const Tool& tool, const Arguments& args) {
  if (!Environment::value("VENDRY_RUN")) return std::nullopt;
  if (HarnessRunner::decide(tool, args).decision != ActionPolicy::Decision::ask) return std::nullopt;
  for (const auto& action : PendingStore(ConfigDir::url()).list()) {
    if (action.tool != tool.id || action.args != args) continue;
    AuditLog::shared().log(actor(), tool.id, std::nullopt, args, "pending_approval", "waits_already:" + action.id);
    return HarnessRunner::Pending{action.id, action.preview};
  }
  return std::nullopt;
}

ExitStatus perform(const std::vector<std::string>& words) {
  const auto& [tool, args] = ToolArguments::call(words);
  if (const auto waiting = waitsAlready(tool, args)) return report(*waiting);
  const auto result = HarnessRunner::run(tool, args, actor(), ConfigDir::url());
  return std::visit([](const auto& each) { return report(each); }, result);
}

}  // namespace

namespace RunVerb {

Work run(CLI::App& command) {
  command.footer("The " + std::string(ToolArguments::shape) +
                 ".\nExit status: 0 done, 1 failed, 2 wrong usage, 3 queued for approval, 4 denied.\n");
  command.prefix_command();  // every word that follows is the tool's, whatever it looks like
  return [&command] { return perform(command.remaining()); };
}

}  // namespace RunVerb
