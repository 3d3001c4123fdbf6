#include <algorithm>

#include "Platform/Files.h"
#include "TavroCore/automations/ClientCommand.h"
#include "TavroCore/automations/Launchers.h"
#include "TavroCore/automations/LoggedChild.h"

void Launchers::runAsChild(const LoopRun& run) {
  Process::Command command{.program = "/usr/bin/env", .arguments = ClientCommand::of(run, ClientCommand::Place::child)};
  const auto prompt = std::ranges::find(command.arguments, ClientCommand::prompt);
  if (prompt == command.arguments.end()) {
    command.inputFile = run.files.prompt;
  } else {
    *prompt = Files::readIfPossible(run.files.prompt).value_or("");
  }
  const int code = LoggedChild::run(run, "background, client=" + run.client, std::move(command));
  run.writeState(code);
}
