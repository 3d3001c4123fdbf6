// File names made from what people call things.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace FileNames {

/// `title` as one file name of at most 200 bytes, which leaves room for a suffix, an extension and the
/// marks of temporary names: no "/", no control characters, no dots or blanks at the ends; "Untitled"
/// when nothing is left.
std::string safe(std::string_view title);

/// Tries `safe(title)` + extension, then with " 2" and so on behind the title, then with a random word,
/// until `take` says that it got the name; returns that name.
std::string firstFree(std::string_view title, std::string_view extension,
                      const std::function<bool(const std::string&)>& take);

}  // namespace FileNames
