#include "TavroCore/scripting/DisclaimedRun.h"

#include "Platform/Process.h"
#include "Platform/Text.h"

namespace DisclaimedRun {

Output run(const std::string& exe, const std::vector<std::string>& args) {
  try {
    Process::Result child = Process::run(
        {.program = exe, .arguments = args, .errors = Process::Output::inherit, .ownPrivacyIdentity = true});
    return {.code = child.status.exited ? child.status.code : -1,
            .stdout = Text::decodeUTF8(std::move(child.output)).value_or("")};
  } catch (const Process::LaunchFailure& refused) {
    if (refused.stage() == Process::LaunchFailure::Stage::pipe) return {.code = -1, .stdout = "pipe() failed"};
    return {.code = -1, .stdout = "posix_spawn failed (errno " + std::to_string(refused.errorNumber()) + ")"};
  }
}

}  // namespace DisclaimedRun
