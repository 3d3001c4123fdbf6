// Single code points and their general categories.
#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include "Platform/Text.h"

namespace Text {

std::u32string codePoints(std::string_view text) {
  std::u32string points;
  points.reserve(text.size());
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
  for (std::size_t at = 0; at < text.size();) {
    UChar32 point;
    U8_NEXT_OR_FFFD(bytes, at, text.size(), point);
    points.push_back(static_cast<char32_t>(point));
  }
  return points;
}

bool isLetterOrDigit(char32_t codePoint) noexcept {
  return (U_GET_GC_MASK(static_cast<UChar32>(codePoint)) & (U_GC_L_MASK | U_GC_ND_MASK)) != 0;
}

bool isMark(char32_t codePoint) noexcept { return (U_GET_GC_MASK(static_cast<UChar32>(codePoint)) & U_GC_M_MASK) != 0; }

}  // namespace Text
