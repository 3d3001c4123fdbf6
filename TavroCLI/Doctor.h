// `doctor`: what stands between the owner and a working system, and the command that mends each.
#pragma once

#include <string>
#include <vector>

namespace Doctor {

enum class State { good, note, bad };

struct Finding {
  State state = State::good;
  std::string area;    // "programs", "home", ...
  std::string text;    // what was found
  std::string remedy;  // the command, or what to do; empty where nothing is wrong
};

/// A group of findings that are looked for together. None of them throws: what can't be found out is a finding.
struct Check {
  const char* area;
  std::vector<Finding> (*look)();
};
const std::vector<Check>& checks();

}  // namespace Doctor
