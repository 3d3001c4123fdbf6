// What a person types to choose among numbered things: "1 3-5", "all", "r 2" to reject.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>
#include <vector>

namespace Picks {

struct Choice {
  bool reject = false;
  std::vector<std::size_t> numbers;  // from 1 to `count`, in the order typed, each once; empty: nothing more
};

/// Nothing for a text that can't be read. "", "q" and "quit" choose nothing.
std::optional<Choice> parse(std::string_view typed, std::size_t count);

}  // namespace Picks
