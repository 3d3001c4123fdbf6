// A tool's arguments as people type them: key=value, or key-file=PATH for the text of a file.
#pragma once

#include <string>
#include <vector>

#include "TavroCore/harness/Tool.h"

namespace ToolArguments {

/// For usage and failures.
inline constexpr const char* shape =
    "arguments are key=value, or key-file=PATH for the text of a file (- for standard input)";

/// Texts are repaired here, so that a queued action holds exactly what will run. Throws CommandError for a word of
/// another shape, a key that is given twice or a file that isn't there.
Arguments parsed(const std::vector<std::string>& words);

}  // namespace ToolArguments
