#include "Platform/linux/stores/ModifiedUtf7.h"

#include <cstdint>

#include "Platform/Text.h"

namespace ModifiedUtf7 {

namespace {

using std::string_view;

constexpr string_view digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+,";

bool isPlain(char32_t c) { return c >= 0x20 && c <= 0x7E; }

/// The UTF-16 of a run between "&" and "-".
std::optional<std::u16string> units(string_view run) {
  std::u16string units;
  std::uint32_t bits = 0;
  int count = 0;
  for (const char c : run) {
    const auto digit = digits.find(c);
    if (digit == string_view::npos) return std::nullopt;
    bits = (bits << 6 | static_cast<std::uint32_t>(digit)) & 0xFF'FFFF;
    if (count += 6; count < 16) continue;
    count -= 16;
    units += static_cast<char16_t>(bits >> count & 0xFFFF);
  }
  const bool isPadded = count < 6 && (bits & ((1U << count) - 1)) == 0;
  return isPadded ? std::optional(units) : std::nullopt;
}

void appendUtf8(std::string& text, char32_t c) {
  const auto continuation = [&](int shift) { text += static_cast<char>(0x80 | (c >> shift & 0x3F)); };
  if (c < 0x80) {
    text += static_cast<char>(c);
  } else if (c < 0x800) {
    text += static_cast<char>(0xC0 | c >> 6);
    continuation(0);
  } else if (c < 0x1'0000) {
    text += static_cast<char>(0xE0 | c >> 12);
    continuation(6);
    continuation(0);
  } else {
    text += static_cast<char>(0xF0 | c >> 18);
    continuation(12);
    continuation(6);
    continuation(0);
  }
}

/// False when a surrogate is alone, or a character needn't have been in a run.
bool appendUnits(std::string& text, const std::u16string& units) {
  for (std::size_t at = 0; at < units.size(); ++at) {
    char32_t c = units[at];
    if (c >= 0xDC00 && c <= 0xDFFF) return false;
    if (c >= 0xD800 && c <= 0xDBFF) {
      if (++at == units.size() || units[at] < 0xDC00 || units[at] > 0xDFFF) return false;
      c = 0x1'0000 + ((c & 0x3FF) << 10 | (units[at] & 0x3FFU));
    }
    if (isPlain(c) || c == 0) return false;
    appendUtf8(text, c);
  }
  return true;
}

std::u16string utf16(std::u32string_view run) {
  std::u16string units;
  for (const char32_t c : run) {
    if (c >= 0x1'0000) units += static_cast<char16_t>(0xD7C0 + (c >> 10));
    units += static_cast<char16_t>(c >= 0x1'0000 ? 0xDC00 | (c & 0x3FF) : c);
  }
  return units;
}

std::string encodedRun(std::u32string_view run) {
  std::string text = "&";
  std::uint32_t bits = 0;
  int count = 0;
  for (const char16_t unit : utf16(run)) {
    bits = (bits << 16 | unit) & 0xFFF'FFFF;
    for (count += 16; count >= 6;) text += digits[bits >> (count -= 6) & 0x3F];
  }
  if (count > 0) text += digits[bits << (6 - count) & 0x3F];
  return text + "-";
}

}  // namespace

std::optional<std::string> decode(string_view name) {
  std::string text;
  while (!name.empty()) {
    if (!isPlain(static_cast<unsigned char>(name.front()))) return std::nullopt;
    if (name.front() != '&') {
      text += name.front();
      name.remove_prefix(1);
      continue;
    }
    const auto end = name.find('-');
    if (end == string_view::npos) return std::nullopt;
    const auto run = units(name.substr(1, end - 1));
    if (!run || !appendUnits(text, *run)) return std::nullopt;
    if (end == 1) text += '&';
    name.remove_prefix(end + 1);
  }
  return text;
}

std::string encode(string_view text) {
  std::string name;
  const auto characters = Text::codePoints(text);
  std::u32string_view rest = characters;
  while (!rest.empty()) {
    std::size_t run = 0;
    while (run < rest.size() && !isPlain(rest[run])) ++run;
    if (run > 0) {
      name += encodedRun(rest.substr(0, run));
      rest.remove_prefix(run);
      continue;
    }
    name += static_cast<char>(rest.front());
    if (rest.front() == '&') name += '-';
    rest.remove_prefix(1);
  }
  return name;
}

}  // namespace ModifiedUtf7
