// What needs no Unicode tables: UTF-8, white space, pieces of texts, numbers. Most texts are ASCII and
// many are large, so each operation passes over ASCII eight bytes at a time where it can.
#include "Platform/Text.h"

#include <unicode/utf8.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "Platform/posix/Ascii.h"

namespace Text {

namespace {

constexpr std::string_view replacement = "\xEF\xBF\xBD";  // U+FFFD

/// Decodes the character at `at` and steps behind it. A bad sequence gives a negative number and steps
/// behind the longest part of it that could begin a character.
UChar32 decodeAt(std::string_view bytes, std::size_t& at) {
  UChar32 character = 0;
  U8_NEXT(bytes.data(), at, bytes.size(), character);
  return character;
}

/// The offset of the first bad sequence from `at` on; the size when there is none.
std::size_t endOfValid(std::string_view bytes, std::size_t at) {
  for (;;) {
    at += asciiPrefix(bytes.substr(at));
    if (at == bytes.size()) return at;
    std::size_t next = at;
    if (decodeAt(bytes, next) < 0) return at;
    at = next;
  }
}

/// Unicode's property White_Space, which is closed.
bool isWhiteSpace(UChar32 character) {
  return character == ' ' || (character >= 0x09 && character <= 0x0D) || character == 0x85 || character == 0xA0 ||
         character == 0x1680 || (character >= 0x2000 && character <= 0x200A) || character == 0x2028 ||
         character == 0x2029 || character == 0x202F || character == 0x205F || character == 0x3000;
}

std::size_t leadingWhiteSpace(std::string_view text) {
  std::size_t at = 0;
  while (at < text.size()) {
    std::size_t next = at;
    if (!isWhiteSpace(decodeAt(text, next))) break;
    at = next;
  }
  return at;
}

/// The length of the white-space character at the text's end; 0 when none stands there.
std::size_t lastWhiteSpace(std::string_view text) {
  for (std::size_t length = 1; length <= 3 && length <= text.size(); ++length) {  // the longest has 3 bytes
    const std::size_t begin = text.size() - length;
    if (U8_IS_TRAIL(static_cast<std::uint8_t>(text[begin]))) continue;
    std::size_t end = begin;
    return isWhiteSpace(decodeAt(text, end)) && end == text.size() ? length : 0;
  }
  return 0;
}

/// The length of the line break at `at`; 0 when none is there.
std::size_t lineBreakAt(std::string_view text, std::size_t at) {
  const auto first = static_cast<unsigned char>(text[at]);
  if (first > 0x0D && first != 0xC2 && first != 0xE2) return 0;
  const std::string_view rest = text.substr(at, 3);
  if (rest.starts_with("\r\n") || rest.starts_with("\xC2\x85")) return 2;
  if (first >= 0x0A && first <= 0x0D) return 1;
  return rest.starts_with("\xE2\x80\xA8") || rest.starts_with("\xE2\x80\xA9") ? 3 : 0;
}

/// from_chars takes no plus sign.
std::string_view withoutPlus(std::string_view number) {
  const bool hasPlus = number.size() > 1 && number[0] == '+' && number[1] != '-';
  return hasPlus ? number.substr(1) : number;
}

template <typename Number>
std::optional<Number> parseWhole(std::string_view text) noexcept {
  text = withoutPlus(text);
  Number number{};
  const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (failure != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

}  // namespace

bool isValidUTF8(std::string_view bytes) noexcept { return endOfValid(bytes, 0) == bytes.size(); }

std::string repairUTF8(std::string bytes) {
  std::size_t bad = endOfValid(bytes, 0);
  if (bad == bytes.size()) return bytes;
  std::string repaired;
  repaired.reserve(bytes.size() + bytes.size() / 8 + replacement.size());
  for (std::size_t good = 0;;) {
    repaired.append(bytes, good, bad - good);
    if (bad == bytes.size()) return repaired;
    repaired += replacement;
    good = bad;
    decodeAt(bytes, good);
    bad = endOfValid(bytes, good);
  }
}

std::optional<std::string> decodeUTF8(std::string bytes) {
  if (!isValidUTF8(bytes)) return std::nullopt;
  return bytes;
}

std::string_view trim(std::string_view text) noexcept {
  text.remove_prefix(leadingWhiteSpace(text));
  while (const std::size_t length = lastWhiteSpace(text)) text.remove_suffix(length);
  return text;
}

std::string_view trimBlanks(std::string_view text) noexcept {
  const std::size_t begin = text.find_first_not_of(" \t");
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(" \t") - begin + 1);
}

std::vector<std::string> split(std::string_view text, char separator, bool dropEmpty) {
  std::vector<std::string> pieces;
  for (std::size_t begin = 0; begin <= text.size();) {
    const std::size_t end = std::min(text.find(separator, begin), text.size());
    if (end > begin || !dropEmpty) pieces.emplace_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  return pieces;
}

std::vector<std::string_view> lines(std::string_view text) {
  std::vector<std::string_view> found;
  std::size_t begin = 0;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = lineBreakAt(text, at);
    if (length > 0 && at > begin) found.push_back(text.substr(begin, at - begin));
    at += length > 0 ? length : 1;
    if (length > 0) begin = at;
  }
  if (begin < text.size()) found.push_back(text.substr(begin));
  return found;
}

std::string join(const std::vector<std::string>& pieces, std::string_view separator) {
  std::string text;
  for (const std::string& piece : pieces) {
    if (&piece != &pieces.front()) text += separator;
    text += piece;
  }
  return text;
}

std::string replaceAll(std::string_view text, std::string_view from, std::string_view to) {
  if (from.empty()) return std::string(text);
  std::string replaced;
  std::size_t begin = 0;
  for (std::size_t at = text.find(from); at != std::string_view::npos; at = text.find(from, begin)) {
    replaced.append(text, begin, at - begin).append(to);
    begin = at + from.size();
  }
  return replaced.append(text, begin);
}

std::optional<long long> parseInteger(std::string_view text) noexcept { return parseWhole<long long>(text); }

std::optional<double> parseReal(std::string_view text) noexcept {
  const auto number = parseWhole<double>(text);
  if (number && !std::isfinite(*number)) return std::nullopt;
  return number;
}

std::string decimal(double number) {
  const double magnitude = std::fabs(number);
  const bool plain = magnitude == 0 || (magnitude >= 1e-4 && magnitude < 1e21);
  char buffer[64];
  const auto format = plain ? std::chars_format::fixed : std::chars_format::scientific;
  return {buffer, std::to_chars(buffer, buffer + sizeof buffer, number, format).ptr};
}

}  // namespace Text
