// Text that can stand anywhere: neither a shell nor a script reads anything into it, in quotes or without.
#pragma once

#include <algorithm>
#include <string_view>

namespace PlainText {

/// An ASCII letter, a digit, or one of `others`.
inline bool isPlain(char byte, std::string_view others) {
  return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9') ||
         others.find(byte) != std::string_view::npos;
}

inline bool isPlain(std::string_view text, std::string_view others) {
  return std::ranges::all_of(text, [&](char byte) { return isPlain(byte, others); });
}

}  // namespace PlainText
