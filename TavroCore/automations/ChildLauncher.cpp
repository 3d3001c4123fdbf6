#include <algorithm>

#include "Platform/Files.h"
#include "TavroCore/automations/ClientCommand.h"
#include "TavroCore/automations/Launchers.h"
#include "TavroCore/automations/LoggedChild.h"

void Launchers::runAsChild(const LoopRun& run) {
  Process::Command command{.program = "/usr/bin/env",
                           .arguments = ClientCommand::of(run, ClientCommand::Place::child),
                           .environment = {{"VENDRY_DONE", run.files.doneMarker}}};
  const std::string prompt(ClientCommand::prompt);
  if (std::ranges::count(command.arguments, prompt) > 0) {
    std::ranges::replace(command.arguments, prompt, Files::readIfPossible(run.files.prompt).value_or(""));
  } else {
    command.inputFile = run.files.prompt;
  }
  const int code = LoggedChild::run(run, "background, client=" + run.client, std::move(command));
  run.writeState(code);
}
