// The shell script that a terminal runs to show the session of a run in the background. When the owner detaches, or the
// session ends, the window closes itself.
#pragma once

#include <filesystem>
#include <string>

#include "TavroCore/automations/LoopFiles.h"

namespace AttachScript {

/// For a terminal application by its name or path: "Terminal", "/Applications/iTerm.app". Of an application that isn't
/// known, the window stays.
std::string text(const LoopFiles& files, const std::string& application);

/// Puts it, executable, into the directory for temporary files, under a name that depends on the loop alone. That
/// directory is other users' as well: what lies under the name is replaced and never followed, and another user's file
/// is refused. Throws FileFailure.
std::filesystem::path write(const LoopFiles& files, const std::string& application);

}  // namespace AttachScript
