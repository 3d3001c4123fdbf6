// The short roads for ASCII texts, without a call into the Unicode library. Private to Platform/posix.
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

/// How many bytes at the head of `text` are ASCII.
inline std::size_t asciiPrefix(std::string_view text) noexcept {
  constexpr std::uint64_t highBits = 0x8080'8080'8080'8080;
  std::size_t at = 0;
  for (std::uint64_t word = 0; text.size() - at >= sizeof word; at += sizeof word) {
    std::memcpy(&word, text.data() + at, sizeof word);
    if ((word & highBits) != 0) break;
  }
  while (at < text.size() && static_cast<unsigned char>(text[at]) < 0x80) ++at;
  return at;
}

inline bool isAscii(std::string_view text) noexcept { return asciiPrefix(text) == text.size(); }

inline char asciiLower(char letter) noexcept {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter + ('a' - 'A')) : letter;
}
