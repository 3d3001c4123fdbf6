#include "TavroCore/harness/LoopName.h"

#include <algorithm>

#include "Platform/Text.h"

bool isSafeLoopName(std::string_view name) {
  constexpr std::size_t longest = 100;
  if (name.size() > longest || name.ends_with(' ') || !Text::isValidUTF8(name)) return false;
  const std::u32string points = Text::codePoints(name);
  const auto goesOn = [](char32_t point) {
    return Text::isLetterOrDigit(point) || Text::isMark(point) || point == U' ' || point == U'-' || point == U'_';
  };
  return !points.empty() && Text::isLetterOrDigit(points.front()) && std::all_of(points.begin(), points.end(), goesOn);
}
