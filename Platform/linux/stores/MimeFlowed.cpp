#include "Platform/linux/stores/MimeFlowed.h"

#include <algorithm>
#include <optional>

using std::string_view;

std::string Mime::unwrapped(string_view text, bool dropsBlanks) {
  constexpr string_view signatureMark = "-- ";  // ends in a blank, and goes on nowhere
  std::string result;
  std::optional<std::size_t> openDepth;  // of the line before, when it goes on
  for (std::size_t begin = 0; begin < text.size();) {
    const auto end = std::min(text.find('\n', begin), text.size());
    auto line = text.substr(begin, end - begin);
    begin = end + 1;
    const auto depth = std::min(line.find_first_not_of('>'), line.size());
    line.remove_prefix(depth);
    if (line.starts_with(' ')) line.remove_prefix(1);  // put there so that "From " or ">" isn't misread
    const bool isFixed = !line.ends_with(' ') || line == signatureMark;
    if (openDepth && (openDepth != depth || line == signatureMark)) {
      result += '\n';
      openDepth.reset();
    }
    if (!openDepth && depth > 0) result += std::string(depth, '>') + (line.empty() ? "" : " ");
    if (!isFixed && dropsBlanks) line.remove_suffix(1);
    result += line;
    if (isFixed)
      openDepth.reset();
    else
      openDepth = depth;
    if (isFixed) result += '\n';
  }
  return result;
}
