// What Unicode's tables decide: characters, case, canonical equivalence. A text of ASCII alone, the
// usual case, is answered without ICU; its data is touched by the first text that needs it.
#include <unicode/casemap.h>
#include <unicode/normalizer2.h>
#include <unicode/ubrk.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>

#include "Platform/Text.h"
#include "Platform/posix/Ascii.h"

namespace Text {

namespace {

void check(UErrorCode status, const char* what) {
  if (U_FAILURE(status)) throw Error(std::string("could not ") + what + ": " + u_errorName(status));
}

/// ICU counts in 32 bits.
icu::StringPiece piece(std::string_view text) {
  if (text.size() > std::numeric_limits<std::int32_t>::max()) throw Error("a text of 2 GiB or more is too long");
  return {text.data(), static_cast<std::int32_t>(text.size())};
}

std::string asciiMapped(std::string_view text, char first, char last, int distance) {
  std::string mapped(text);
  for (char& letter : mapped) {
    if (letter >= first && letter <= last) letter = static_cast<char>(letter + distance);
  }
  return mapped;
}

std::string asciiLowered(std::string_view text) { return asciiMapped(text, 'A', 'Z', 'a' - 'A'); }

/// Runs one of ICU's operations from text to text.
template <typename Operation>
std::string converted(std::string_view text, Operation operation) {
  std::string result;
  icu::StringByteSink<std::string> sink(&result, static_cast<std::int32_t>(piece(text).length()));
  UErrorCode status = U_ZERO_ERROR;
  operation(piece(text), sink, status);
  check(status, "convert a text");
  return result;
}

using NormalForm = const icu::Normalizer2* (*)(UErrorCode&);

std::string normalized(std::string_view text, NormalForm form) {
  return converted(text, [form](icu::StringPiece from, icu::ByteSink& to, UErrorCode& status) {
    if (const auto* normalizer = form(status)) normalizer->normalizeUTF8(0, from, to, nullptr, status);
  });
}

std::string caseFolded(std::string_view text) {
  return converted(text, [](icu::StringPiece from, icu::ByteSink& to, UErrorCode& status) {
    icu::CaseMap::utf8Fold(U_FOLD_CASE_DEFAULT, from, to, nullptr, status);
  });
}

/// Walks the characters of a text that outlives it. The iterator is kept for the thread, since to open
/// one costs more than to walk a short text.
class CharacterWalk {
 public:
  explicit CharacterWalk(std::string_view text) {
    UErrorCode status = U_ZERO_ERROR;
    utext_openUTF8(&text_, text.data(), static_cast<std::int64_t>(text.size()), &status);
    check(status, "read a text");
    ubrk_setUText(iterator(), &text_, &status);
    check(status, "find the characters of a text");
  }
  ~CharacterWalk() { utext_close(&text_); }
  CharacterWalk(const CharacterWalk&) = delete;
  CharacterWalk& operator=(const CharacterWalk&) = delete;

  /// The offset behind the next character; nothing at the end.
  std::optional<std::size_t> next() {
    const std::int32_t boundary = ubrk_next(iterator());
    if (boundary == UBRK_DONE) return std::nullopt;
    return static_cast<std::size_t>(boundary);
  }

 private:
  static UBreakIterator* iterator() {
    thread_local const std::unique_ptr<UBreakIterator, void (*)(UBreakIterator*)> kept(opened(), ubrk_close);
    return kept.get();
  }
  static UBreakIterator* opened() {
    UErrorCode status = U_ZERO_ERROR;
    UBreakIterator* iterator = ubrk_open(UBRK_CHARACTER, "", nullptr, 0, &status);
    check(status, "find the characters of a text");
    return iterator;
  }

  UText text_ = UTEXT_INITIALIZER;
};

/// How many bytes at the head are characters of one byte each: ASCII, but for CR, which may be one
/// character with the LF behind it, and for the last byte, which a combining mark may follow.
std::size_t simplePrefix(std::string_view text) {
  const std::size_t ascii = asciiPrefix(text);
  const std::size_t simple = ascii == text.size() ? ascii : ascii - std::min<std::size_t>(ascii, 1);
  return std::min(text.substr(0, simple).find('\r'), simple);
}

/// Calls `visit` with the offset behind each character, until it answers false.
template <typename Visit>
void forEachCharacter(std::string_view text, Visit visit) {
  const std::size_t simple = simplePrefix(text);
  for (std::size_t end = 1; end <= simple; ++end) {
    if (!visit(end)) return;
  }
  if (simple == text.size()) return;
  CharacterWalk rest(text.substr(simple));
  while (const auto end = rest.next()) {
    if (!visit(simple + *end)) return;
  }
}

/// No allocation; for texts so short that comparing at every place is cheap.
bool containsInShortAscii(std::string_view haystack, std::string_view needle) {
  for (std::size_t at = 0; at + needle.size() <= haystack.size(); ++at) {
    std::size_t same = 0;
    while (same < needle.size() && asciiLower(haystack[at + same]) == asciiLower(needle[same])) ++same;
    if (same == needle.size()) return true;
  }
  return false;
}

/// Linear whatever the two texts are, unlike std::string_view::find.
bool contains(std::string_view haystack, std::string_view needle) {
  return memmem(haystack.data(), haystack.size(), needle.data(), needle.size()) != nullptr;
}

}  // namespace

std::size_t characterCount(std::string_view text) {
  std::size_t count = 0;
  forEachCharacter(text, [&count](std::size_t) { return ++count > 0; });
  return count;
}

std::string_view firstCharacters(std::string_view text, std::size_t count) {
  if (text.size() <= count) return text;
  // The byte behind the last character counts too: a mark there would belong to it.
  if (simplePrefix(text.substr(0, count + 1)) >= count) return text.substr(0, count);
  std::size_t end = 0;
  std::size_t seen = 0;
  forEachCharacter(text, [&](std::size_t boundary) {
    end = boundary;
    return ++seen < count;
  });
  return text.substr(0, end);
}

std::vector<std::size_t> characterBoundaries(std::string_view text) {
  std::vector<std::size_t> boundaries{0};
  forEachCharacter(text, [&boundaries](std::size_t boundary) {
    boundaries.push_back(boundary);
    return true;
  });
  return boundaries;
}

std::string lowercase(std::string_view text) {
  if (isAscii(text)) return asciiLowered(text);
  return converted(text, [](icu::StringPiece from, icu::ByteSink& to, UErrorCode& status) {
    icu::CaseMap::utf8ToLower("", 0, from, to, nullptr, status);
  });
}

std::string uppercase(std::string_view text) {
  if (isAscii(text)) return asciiMapped(text, 'a', 'z', 'A' - 'a');
  return converted(text, [](icu::StringPiece from, icu::ByteSink& to, UErrorCode& status) {
    icu::CaseMap::utf8ToUpper("", 0, from, to, nullptr, status);
  });
}

std::string folded(std::string_view text) {
  if (isAscii(text)) return asciiLowered(text);
  const std::string decomposed = normalized(repairUTF8(std::string(text)), icu::Normalizer2::getNFDInstance);
  return normalized(caseFolded(decomposed), icu::Normalizer2::getNFCInstance);
}

std::string composed(std::string_view text) {
  if (isAscii(text)) return std::string(text);
  return normalized(repairUTF8(std::string(text)), icu::Normalizer2::getNFCInstance);
}

std::string listOrder(std::string_view text) {
  const std::string whole = folded(text);
  std::string base;
  for (const char32_t c : codePoints(normalized(whole, icu::Normalizer2::getNFDInstance)))
    if (!isMark(c)) icu::UnicodeString(static_cast<UChar32>(c)).toUTF8String(base);
  return base + '\0' + whole;  // accents decide where the letters are the same
}

bool equalIgnoringCase(std::string_view a, std::string_view b) {
  if (isAscii(a) && isAscii(b)) return a.size() == b.size() && containsInShortAscii(a, b);
  return folded(a) == folded(b);
}

bool containsIgnoringCase(std::string_view haystack, std::string_view needle) {
  constexpr std::size_t shortWork = 64 * 1024;
  if (needle.empty()) return false;
  const bool ascii = isAscii(haystack) && isAscii(needle);
  if (ascii && haystack.size() < shortWork / needle.size()) return containsInShortAscii(haystack, needle);
  return contains(folded(haystack), folded(needle));
}

}  // namespace Text
