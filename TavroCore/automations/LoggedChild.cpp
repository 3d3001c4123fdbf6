#include "TavroCore/automations/LoggedChild.h"

#include <fmt/format.h>

#include "TavroCore/automations/RunLog.h"

namespace {

int codeOf(const LoopRun& run, const Process::Command& command) {
  try {
    return Process::run(command).status.shellCode();
  } catch (const Process::LaunchFailure& failure) {
    run.logEvent(failure.description());
    return -1;
  }
}

}  // namespace

int LoggedChild::run(const LoopRun& run, std::string_view what, Process::Command command) {
  const std::string& name = run.files.name;
  command.log = run.files.log;
  command.environment.merge(run.environment());
  command.directory = run.cwd;
  run.log(fmt::format("===== vendry: {} @ {} ({}) =====", name, RunLog::tsLocal(), what));
  const int code = codeOf(run, command);
  run.log(fmt::format("===== vendry: {} done (exit {}) =====", name, code));
  return code;
}
