#include "TavroCore/scripting/DisclaimedRun.h"

#include "Platform/Error.h"
#include "Platform/Process.h"
#include "Platform/Text.h"

namespace DisclaimedRun {

Output run(const std::string& exe, const std::vector<std::string>& args) {
  const bool isBareName = !exe.empty() && exe.find('/') == exe.npos;  // of a file here, not of one in PATH
  try {
    Process::Result child = Process::run({.program = isBareName ? "./" + exe : exe,
                                          .arguments = args,
                                          .errors = Process::Output::inherit,
                                          .ownPrivacyIdentity = true});
    return {.code = child.status.exited ? child.status.code : -1,
            .stdout = Text::decodeUTF8(std::move(child.output)).value_or("")};
  } catch (const Process::LaunchFailure& refused) {
    if (refused.stage() == Process::LaunchFailure::Stage::pipe) return {.code = -1, .stdout = "pipe() failed"};
    return {.code = -1, .stdout = "posix_spawn failed (errno " + std::to_string(refused.errorNumber()) + ")"};
  } catch (const Error&) {  // its output can't be read
    return {};
  }
}

}  // namespace DisclaimedRun
