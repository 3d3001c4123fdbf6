// A mail is cleaned by patterns in ICU's syntax, applied one after the other. Each stands above the scanner that gives
// its answers here, by hand: ICU's engine would try `<script` after `<script` to the end of the text, hours for a few
// MB, and it would be a library more to load at each start of the server. fuzz/mailbody.cpp holds the two side by side.
//
// A scanner tells its pattern's next match from an offset on. It tells nothing only when no match begins in all the
// rest, so that what has no end is looked for once.
#include "TavroCore/mail/MailBody.h"

#include <fmt/format.h>
#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <span>

#include "Platform/Text.h"

namespace {

using std::size_t;
using std::string;
using std::string_view;

constexpr size_t nowhere = string_view::npos;

// ---- Characters, as ICU's patterns class them.

/// The character at `at`, which steps behind it.
UChar32 takeCharacter(string_view text, size_t& at) {
  UChar32 character = 0;
  U8_NEXT(text.data(), at, text.size(), character);
  return character;
}

bool isBlank(char c) { return c == ' ' || c == '\t'; }

/// What `.` doesn't match, and what stands before `^` and behind `$`.
bool isLineTerminator(UChar32 c) { return (c >= 0x0A && c <= 0x0D) || c == 0x85 || c == 0x2028 || c == 0x2029; }

/// Is there no `\b` at `at`, behind a letter? Words go on in letters, marks, digits, "_" and its like, and in
/// characters that only format.
bool wordGoesOn(string_view text, size_t at) {
  constexpr std::uint32_t inWords = U_GC_M_MASK | U_GC_ND_MASK | U_GC_PC_MASK | U_GC_CF_MASK;
  if (at == text.size()) return false;
  const UChar32 next = takeCharacter(text, at);
  return (U_GET_GC_MASK(next) & inWords) != 0 || u_isUAlphabetic(next);
}

// ---- Lines.

/// `(?m)^`
bool lineBegins(string_view text, size_t at) {
  if (at == 0) return true;
  do --at;
  while (at > 0 && U8_IS_TRAIL(text[at]));
  return isLineTerminator(takeCharacter(text, at));
}

size_t nextLine(string_view text, size_t at) {
  while (at < text.size()) {
    if (isLineTerminator(takeCharacter(text, at))) return at;
  }
  return nowhere;
}

/// `\s*`
size_t behindWhiteSpace(string_view text, size_t at) {
  for (size_t next = at; next < text.size(); at = next) {
    if (!u_isUWhiteSpace(takeCharacter(text, next))) break;
  }
  return at;
}

/// `(?m)\s*$`
bool restOfLineIsBlank(string_view text, size_t at) {
  while (at < text.size()) {
    const UChar32 character = takeCharacter(text, at);
    if (isLineTerminator(character)) return true;
    if (!u_isUWhiteSpace(character)) return false;
  }
  return true;
}

// ---- Literals.

/// The length of what at the head of `text` stands for `literal`; 0 when nothing does.
using Likeness = size_t (*)(string_view text, string_view literal);

size_t exactly(string_view text, string_view literal) { return text.starts_with(literal) ? literal.size() : 0; }

struct Replacement {
  string_view from;
  string_view to;
};

/// What beyond ASCII folds to letters of our literals: the long s, and the two ligatures of s and t. (The Kelvin
/// sign folds to k; none of them has one.)
constexpr std::array<Replacement, 3> foldings = {{{"\u017F", "s"}, {"\uFB05", "st"}, {"\uFB06", "st"}}};

/// The folding by which `text` begins as `literal` does.
const Replacement* foldingOf(string_view text, string_view literal) {
  for (const Replacement& folding : foldings) {
    if (literal.starts_with(folding.to) && text.starts_with(folding.from)) return &folding;
  }
  return nullptr;
}

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

/// The literal is in lower case.
size_t ignoringCase(string_view text, string_view literal) {
  const size_t size = text.size();
  while (!literal.empty()) {
    if (text.empty()) return 0;
    if (U8_IS_SINGLE(text.front())) {
      if (lower(text.front()) != literal.front()) return 0;
      text.remove_prefix(1);
      literal.remove_prefix(1);
    } else {
      const Replacement* folding = foldingOf(text, literal);
      if (!folding) return 0;
      text.remove_prefix(folding->from.size());
      literal.remove_prefix(folding->to.size());
    }
  }
  return size - text.size();
}

// ---- Matches, and the scanners that find them.

struct Match {
  size_t begin = 0;
  size_t end = 0;
  string_view put;  // in its place
};

/// `text` with all the scanner's matches replaced.
template <typename Scanner>
string edited(string_view text, const Scanner& scanner) {
  string kept;
  kept.reserve(text.size());
  size_t at = 0;
  while (const std::optional<Match> match = scanner(text, at)) {
    kept.append(text, at, match->begin - at).append(match->put);
    at = match->end;
  }
  return kept.append(text, at);
}

/// Several literals at once. That answers like one pass for each in turn as long as they can't overlap and none
/// comes about by the replacing of another.
struct Literals {
  string_view beginnings;  // their first bytes
  std::span<const Replacement> table;
  Likeness like;

  std::optional<Match> operator()(string_view text, size_t from) const {
    for (size_t at = from; (at = text.find_first_of(beginnings, at)) != nowhere; ++at) {
      for (const auto& [literal, put] : table) {
        if (const size_t length = like(text.substr(at), literal)) return Match{at, at + length, put};
      }
    }
    return std::nullopt;
  }
};

/// `<script\b[^>]*>[\s\S]*?</script>`, ignoring case
struct Element {
  string_view opening;
  string_view closing;

  std::optional<Match> operator()(string_view text, size_t from) const {
    for (size_t at = from; (at = text.find('<', at)) != nowhere; ++at) {
      const size_t length = ignoringCase(text.substr(at), opening);
      if (length == 0 || wordGoesOn(text, at + length)) continue;
      const auto end = behindClosing(text, text.find('>', at + length));
      return end ? std::optional(Match{at, *end, {}}) : std::nullopt;
    }
    return std::nullopt;
  }

 private:
  std::optional<size_t> behindClosing(string_view text, size_t from) const {
    for (size_t at = from; (at = text.find('<', at)) != nowhere; ++at) {
      if (const size_t length = ignoringCase(text.substr(at), closing)) return at + length;
    }
    return std::nullopt;
  }
};

/// `<!--[\s\S]*?-->`
std::optional<Match> nextComment(string_view text, size_t from) {
  constexpr string_view opening = "<!--";
  constexpr string_view closing = "-->";
  const size_t begin = text.find(opening, from);
  if (begin == nowhere) return std::nullopt;
  const size_t end = text.find(closing, begin + opening.size());
  if (end == nowhere) return std::nullopt;
  return Match{begin, end + closing.size(), {}};
}

/// `<[^>]+>`
std::optional<Match> nextTag(string_view text, size_t from) {
  for (size_t begin = from; (begin = text.find('<', begin)) != nowhere;) {
    const size_t end = text.find('>', begin);
    if (end == nowhere) break;
    if (end > begin + 1) return Match{begin, end + 1, {}};
    begin = end;
  }
  return std::nullopt;
}

// ---- White space.

/// The line that mail programs put above a signature, and by which it is cut off.
bool isSignatureMark(string_view line) { return line == "-- "; }

/// What stays of a run of blanks: nothing at the end of a line, `[ \t]+\n`, or at its beginning, `(?m)^[ \t]+`, and one
/// of several, `[ \t]{2,}`. The signature's mark would be none without its blank.
string_view blanksKept(string_view text, size_t begin, size_t end) {
  if (end < text.size() && text[end] == '\n') {
    const size_t line = text.substr(0, begin).rfind('\n') + 1;  // 0 without one
    return isSignatureMark(text.substr(line, end - line)) ? " " : "";
  }
  if (lineBegins(text, begin)) return "";
  return end - begin > 1 ? " " : text.substr(begin, 1);
}

/// At most one blank between words, and one empty line between lines: `\n{3,}` is two.
string collapseWhitespace(string_view text) {
  string kept;
  kept.reserve(text.size());
  for (size_t at = 0; at < text.size();) {
    if (isBlank(text[at])) {
      const size_t end = std::min(text.find_first_not_of(" \t", at), text.size());
      kept += blanksKept(text, at, end);
      at = end;
    } else {
      if (text[at] != '\n' || !kept.ends_with("\n\n")) kept += text[at];
      ++at;
    }
  }
  return kept;
}

/// CRLF and CR.
string withLineFeeds(string_view text) {
  string lines = Text::replaceAll(text, "\r\n", "\n");
  std::replace(lines.begin(), lines.end(), '\r', '\n');
  return lines;
}

// ---- HTML.

constexpr std::array<Replacement, 9> markersOfHTML = {{{"<div", ""},
                                                       {"<p>", ""},
                                                       {"<p ", ""},
                                                       {"<table", ""},
                                                       {"<html", ""},
                                                       {"<br", ""},
                                                       {"<span", ""},
                                                       {"<td", ""},
                                                       {"<a ", ""}}};

constexpr std::array<Replacement, 12> lineEnds = {{{"</p>", "\n"},
                                                   {"</div>", "\n"},
                                                   {"</h1>", "\n"},
                                                   {"</h2>", "\n"},
                                                   {"</h3>", "\n"},
                                                   {"</h4>", "\n"},
                                                   {"</h5>", "\n"},
                                                   {"</h6>", "\n"},
                                                   {"</li>", "\n"},
                                                   {"<br>", "\n"},
                                                   {"<br/>", "\n"},
                                                   {"<br />", "\n"}}};

/// "&amp;lt;" ends as "<": senders escape twice more often than they write about entities.
constexpr std::array<Replacement, 2> outerEntities = {{{"&nbsp;", " "}, {"&amp;", "&"}}};
constexpr std::array<Replacement, 5> innerEntities = {
    {{"&lt;", "<"}, {"&gt;", ">"}, {"&quot;", "\""}, {"&#39;", "'"}, {"&apos;", "'"}}};

/// No-break space, zero-width space, non-joiner and joiner, word joiner, byte order mark.
constexpr std::array<Replacement, 6> invisibles = {
    {{"\u00A0", " "}, {"\u200B", " "}, {"\u200C", " "}, {"\u200D", " "}, {"\u2060", " "}, {"\uFEFF", " "}}};

bool looksLikeHTML(string_view text) { return Literals{"<", markersOfHTML, ignoringCase}(text, 0).has_value(); }

string textOfHTML(string_view html) {
  string text = edited(html, Element{"<script", "</script>"});
  text = edited(text, Element{"<style", "</style>"});
  text = edited(text, Element{"<head", "</head>"});
  text = edited(text, nextComment);
  text = edited(text, Literals{"<", lineEnds, ignoringCase});
  text = edited(text, nextTag);
  text = edited(text, Literals{"&", outerEntities, exactly});
  text = edited(text, Literals{"&", innerEntities, exactly});
  text = edited(text, Literals{"\xC2\xE2\xEF", invisibles, exactly});
  return collapseWhitespace(text);
}

// ---- What the sender quotes.

constexpr std::array<string_view, 3> separators = {"-----Original Message-----", "-----Message d'origine-----",
                                                   "________________________________"};

/// `.{0,200}?`, then what `closes`.
template <typename Closing>
bool closesSoon(string_view text, size_t at, const Closing& closes) {
  for (int count = 0; count <= 200; ++count) {
    if (closes(text, at)) return true;
    if (at == text.size() || isLineTerminator(takeCharacter(text, at))) return false;
  }
  return false;
}

/// ` wrote:\s*$`
bool closesEnglish(string_view text, size_t at) {
  const size_t length = exactly(text.substr(at), " wrote:");
  return length > 0 && restOfLineIsBlank(text, at + length);
}

/// `(a écrit|écrit)\s*:\s*$`
bool closesFrench(string_view text, size_t at) {
  at += exactly(text.substr(at), "a ");
  const size_t length = exactly(text.substr(at), "écrit");
  if (length == 0) return false;
  at = behindWhiteSpace(text, at + length);
  return text.substr(at).starts_with(':') && restOfLineIsBlank(text, at + 1);
}

/// `On .{0,200}? wrote:\s*$`, `Le .{0,200}?(a écrit|écrit)\s*:\s*$` and `>.*$`
bool quoteBegins(string_view text, size_t line) {
  const string_view rest = text.substr(line);
  if (rest.starts_with("On ")) return closesSoon(text, line + 3, closesEnglish);
  if (rest.starts_with("Le ")) return closesSoon(text, line + 3, closesFrench);
  return rest.starts_with('>');
}

size_t firstQuote(string_view text) {
  for (size_t line = 0; line != nowhere; line = nextLine(text, line)) {
    if (quoteBegins(text, line)) return line;
  }
  return nowhere;
}

string_view trimQuotedReply(string_view text) {
  size_t cut = firstQuote(text);
  for (const string_view separator : separators) cut = std::min(cut, text.find(separator));
  return text.substr(0, cut);
}

string_view trimSignature(string_view text) { return text.substr(0, text.find("\n-- \n")); }

string cap(string_view text) {
  size_t cut = MailBody::byteCap;
  if (text.size() <= cut) return string(text);
  while (U8_IS_TRAIL(text[cut])) --cut;
  return fmt::format("{}\n\n[truncated: {} more bytes]", text.substr(0, cut), text.size() - cut);
}

}  // namespace

string MailBody::clean(string_view raw) {
  const string text = withLineFeeds(Text::repairUTF8(string(raw)));
  const string plain = looksLikeHTML(text) ? textOfHTML(text) : collapseWhitespace(text);
  return cap(Text::trim(trimSignature(trimQuotedReply(plain))));
}

string MailBody::stripHTMLToText(string_view html) { return textOfHTML(Text::repairUTF8(string(html))); }
