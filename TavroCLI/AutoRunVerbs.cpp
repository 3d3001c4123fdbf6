#include "TavroCLI/AutoRunVerbs.h"

#include <memory>

#include "Platform/Environment.h"
#include "Platform/Files.h"
#include "Platform/Text.h"
#include "TavroCLI/Terminal.h"
#include "TavroCore/automations/VendryRunner.h"

namespace {

struct Run {
  std::string name;
  bool force = false;

  /// It passes no gate, so an agent in a run can't start others with it, nor its own anew.
  static void refuseInsideRun() {
    if (const auto loop = Environment::value("VENDRY_RUN")) {
      throw CommandError(ExitStatus::denied, "auto-run is for timers, and this is a run of the automation \"" + *loop +
                                                 "\"; `tavro run auto.run name=NAME` asks for another run");
    }
  }

  ExitStatus run() const {
    refuseInsideRun();
    const Environment::Setting ownMarkerOnly("VENDRY_DONE", "");  // never one of a run that we were started from
    return static_cast<ExitStatus>(VendryRunner::runOnce(name, force));
  }
};

int exitCode(const std::string& text) {
  const auto code = Text::parseInteger(text);
  if (code && *code >= 0 && *code <= 255) return static_cast<int>(*code);
  throw CommandError(ExitStatus::wrongUsage, "CODE is a whole number from 0 to 255, not \"" + text + "\"");
}

ExitStatus signalDone(const std::string& text) {
  const int code = exitCode(text);
  const auto marker = Environment::value("VENDRY_DONE");
  if (!marker) {
    throw CommandError(ExitStatus::failed,
                       "auto-done ends the run of an automation, and this is none: VENDRY_DONE names no file");
  }
  Files::replace(*marker, std::to_string(code));  // as a whole: the supervisor may look at any time
  Terminal::say("done (" + std::to_string(code) + "); the supervisor ends this session");
  return ExitStatus::done;
}

}  // namespace

namespace AutoRunVerbs {

Work run(CLI::App& command) {
  auto run = std::make_shared<Run>();
  command.add_option("NAME", run->name, "Name of an automation")->required();
  command.add_flag("--force", run->force, "Even when it is paused");
  return [run] { return run->run(); };
}

Work done(CLI::App& command) {
  auto code = std::make_shared<std::string>("0");
  command.add_option("CODE", *code, "How it went: 0 for well (the default), up to 255");
  return [code] { return signalDone(*code); };
}

}  // namespace AutoRunVerbs
