// Text as people mean it. All texts are UTF-8; a "character" is a user-perceived one (an extended
// grapheme cluster, UAX #29); white space is Unicode's White_Space. Operations on invalid UTF-8
// treat each bad sequence as U+FFFD and never fail.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Error.h"

namespace Text {

bool isValidUTF8(std::string_view bytes) noexcept;

/// `bytes` with each maximal bad sequence replaced by U+FFFD (the practice of the WHATWG and Unicode).
std::string repairUTF8(std::string bytes);

/// Decodes strictly: nothing when the bytes are not UTF-8.
std::optional<std::string> decodeUTF8(std::string bytes);

/// Without white space and line breaks at both ends.
std::string_view trim(std::string_view text) noexcept;
/// Without U+0020 and U+0009 at both ends.
std::string_view trimBlanks(std::string_view text) noexcept;

/// Pieces between `separator`s; empty pieces stay unless `dropEmpty`.
std::vector<std::string> split(std::string_view text, char separator, bool dropEmpty = false);
/// Pieces between line breaks: LF, VT, FF, CR, CRLF, NEL, U+2028 and U+2029. Empty ones dropped.
std::vector<std::string_view> lines(std::string_view text);
std::string join(const std::vector<std::string>& pieces, std::string_view separator);
std::string replaceAll(std::string_view text, std::string_view from, std::string_view to);

std::size_t characterCount(std::string_view text);
/// The first `count` characters; the whole text when it has no more.
std::string_view firstCharacters(std::string_view text, std::size_t count);
/// The byte offsets at which characters begin, and the text's length as the last entry.
std::vector<std::size_t> characterBoundaries(std::string_view text);

/// The code points; each bad sequence is U+FFFD.
std::u32string codePoints(std::string_view text);
bool isLetterOrDigit(char32_t codePoint) noexcept;  // of any script: the general categories L and Nd
bool isMark(char32_t codePoint) noexcept;           // M: accents and vowel signs that join a letter

std::string lowercase(std::string_view text);  // full Unicode mapping, root locale
std::string uppercase(std::string_view text);

/// What two texts share when they differ only in case or in canonically equivalent spelling:
/// NFC(casefold(NFD(text))). Compare and search the folded forms.
std::string folded(std::string_view text);
/// Canonical composition (NFC) alone.
std::string composed(std::string_view text);
/// Puts titles in the order in which people look for them, when these are compared byte by byte: without regard to
/// case, accented letters by their base ("Ärger" between "apfel" and "Birne").
std::string listOrder(std::string_view text);
bool equalIgnoringCase(std::string_view a, std::string_view b);
/// An empty needle is never found.
bool containsIgnoringCase(std::string_view haystack, std::string_view needle);

/// A whole number in ASCII digits with an optional sign, nothing around it, that fits 64 bits.
std::optional<long long> parseInteger(std::string_view text) noexcept;
/// A finite decimal number, read whole, in the C locale's form.
std::optional<double> parseReal(std::string_view text) noexcept;
/// The shortest decimal text that reads back as `number`; a whole number has no point: 5, not 5.0. Plain
/// digits from 1e-4 to below 1e21, else with an exponent: 1e+21.
std::string decimal(double number);

/// A compiled ICU regular expression, matched over whole texts. Matching throws Error when it takes more
/// than some seconds or more memory than ICU allows: a text can be made to cost a pattern that much.
/// Several threads may match with one Pattern.
class Pattern {
 public:
  enum class Case { sensitive, insensitive };
  /// Throws Error when the pattern doesn't compile (the empty one doesn't).
  explicit Pattern(std::string_view pattern, Case sensitivity = Case::sensitive);
  ~Pattern();
  Pattern(Pattern&&) noexcept;
  Pattern& operator=(Pattern&&) noexcept;

  struct Range {
    std::size_t begin = 0;  // byte offsets
    std::size_t end = 0;
  };
  std::optional<Range> firstMatch(std::string_view text) const;
  std::string replaceAll(std::string_view text, std::string_view replacement) const;  // literal

 private:
  struct Compiled;
  std::unique_ptr<Compiled> compiled_;
};

}  // namespace Text
