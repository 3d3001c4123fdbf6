// A command line that can't be carried out, told to the person who typed it: each of these throws CommandError
// (wrongUsage).
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "TavroCLI/ExitStatus.h"

namespace Usage {

[[noreturn]] inline void wrong(const std::string& text) { throw CommandError(ExitStatus::wrongUsage, text); }

/// `unknown WHAT: WORD; did you mean "NEAREST"? MORE`, with a full stop where nothing is near.
[[noreturn]] void unknown(std::string_view what, std::string_view word, const std::vector<std::string>& known,
                          std::string_view more);
/// The same, with all that are known.
[[noreturn]] void unknown(std::string_view what, std::string_view word, const std::vector<std::string>& known);

/// A whole number from `least`, as people count.
long long wholeNumber(const std::string& option, const std::string& text, long long least = 0);

}  // namespace Usage
