// Runs a program that answers for its own privacy permissions, instead of for its starter's. For the
// owner's programs; the server has no use for it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace DisclaimedRun {

struct Output {
  std::int32_t code = -1;  // exit code; -1 when a signal ended the child or it did not start
  std::string stdout;      // standard output as UTF-8 (empty when it isn't); a failed start's message
};

/// Blocks until the child ends; standard input and error are inherited. Never throws.
Output run(const std::string& exe, const std::vector<std::string>& args);

}  // namespace DisclaimedRun
