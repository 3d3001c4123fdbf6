// What a person may type next, for the shells' completions.
#pragma once

#include <string>
#include <vector>

namespace Candidates {

struct Candidate {
  std::string word;
  std::string description = {};  // one line; may be empty
};

/// What may follow these words of a command line, `tavro` itself left out: verbs, and for arguments live ids, names of
/// automations and the like. Empty where anything may stand, and where what is there can't be read.
std::vector<Candidate> after(const std::vector<std::string>& words) noexcept;

}  // namespace Candidates
