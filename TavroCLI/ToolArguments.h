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

struct Call {
  const Tool& tool;
  Arguments args;
};
/// Of TOOL key=value..., with a warning on standard error for an argument that the tool doesn't tell of. Throws
/// CommandError as `parsed`, and for a tool that isn't there.
Call call(const std::vector<std::string>& words);

}  // namespace ToolArguments
