// The one door to scriptable applications: a constant script text and positional arguments go to
// osascript in a child process. User values travel as arguments only, so none ever needs quoting.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace OSAScript {

struct Result {
  bool ok = false;         // the child ran and its exit status was 0
  std::string output;      // standard output, without white space and line breaks at both ends
  std::string error;       // the line of standard error that tells what went wrong, or a launch failure
  std::int32_t code = -1;  // the child's termination status (a signal's number when one ended it); -1: no child ran
};

/// Blocks until the script ends; there is no time limit. Never throws.
Result run(std::string_view script, const std::vector<std::string>& argv);

/// The one line of `raw` that holds the message, out of the log noise that frameworks print around it;
/// empty when there is none.
std::string meaningfulError(std::string_view raw);

}  // namespace OSAScript
