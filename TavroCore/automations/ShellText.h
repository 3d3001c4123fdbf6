// Words of a shell command line.
#pragma once

#include <string>
#include <string_view>

namespace ShellText {

/// In single quotes, each ' in it as '\''. No shell reads anything into it.
std::string quoted(std::string_view word);
/// The same, but bare when it is plain: letters, digits, and "/", ".", "_", "-".
std::string word(std::string_view word);

}  // namespace ShellText
