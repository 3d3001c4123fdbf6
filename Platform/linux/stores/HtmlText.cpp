#include "Platform/linux/stores/HtmlText.h"

#include <libxml/HTMLparser.h>

#include <algorithm>
#include <array>
#include <cstdint>

#include "Platform/Text.h"
#include "Platform/linux/stores/MimeText.h"

namespace {

using Mime::asciiLower;
using Mime::equalIgnoringAsciiCase;
using std::string_view;

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f'; }
bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

template <std::size_t N>
bool isOneOf(string_view name, const std::array<string_view, N>& names) {
  return std::any_of(names.begin(), names.end(), [&](auto one) { return equalIgnoringAsciiCase(one, name); });
}

constexpr std::array<string_view, 41> blockElements = {
    "address", "article", "aside",  "blockquote", "body",      "center", "dd",    "details", "div",
    "dl",      "dt",      "figure", "fieldset",   "footer",    "form",   "h1",    "h2",      "h3",
    "h4",      "h5",      "h6",     "header",     "hr",        "html",   "li",    "main",    "nav",
    "ol",      "p",       "pre",    "table",      "tbody",     "tfoot",  "thead", "tr",      "ul",
    "section", "summary", "dir",    "caption",    "figcaption"};
/// Elements whose content isn't text of the page.
constexpr std::array<string_view, 4> hiddenElements = {"script", "style", "template", "title"};

// ---- Pieces: text, start tags, end tags.

struct Piece {
  enum class Kind { text, start, end };
  Kind kind = Kind::text;
  string_view text;     // as it stands, entities and all
  string_view element;  // of a tag, in its own case
  string_view picture;  // the `src` of a start tag
};

class PieceReader {
 public:
  explicit PieceReader(string_view html) : html_(html) {}

  /// False at the end.
  bool next(Piece& piece) {
    while (at_ < html_.size()) {
      if (html_[at_] != '<') return readText(piece);
      const char after = at_ + 1 < html_.size() ? html_[at_ + 1] : '\0';
      if (after == '!' || after == '?') {
        skipComment();
      } else if (isLetter(after)) {
        return readTag(piece, Piece::Kind::start);
      } else if (after == '/' && at_ + 2 < html_.size() && isLetter(html_[at_ + 2])) {
        return readTag(piece, Piece::Kind::end);
      } else {
        return readText(piece);  // "a < b"
      }
    }
    return false;
  }

  /// Was the last piece the end of the text? Of a beginning, such a piece may go on in what isn't here.
  bool atEnd() const { return at_ >= html_.size(); }

 private:
  bool readText(Piece& piece) {
    const auto begin = at_;
    at_ = std::min(html_.find('<', at_ + 1), html_.size());
    piece = {Piece::Kind::text, html_.substr(begin, at_ - begin), {}, {}};
    return true;
  }

  /// A comment, a document type or a processing instruction; one without an end takes all the rest.
  void skipComment() {
    const string_view end = html_.substr(at_, 4) == "<!--" ? "-->" : ">";
    const auto found = html_.find(end, at_ + 2);
    at_ = found == string_view::npos ? html_.size() : found + end.size();
  }

  bool readTag(Piece& piece, Piece::Kind kind) {
    at_ += kind == Piece::Kind::start ? 1 : 2;
    const auto element = word("/>");
    piece = {kind, {}, element, {}};
    readAttributes(piece);
    if (kind == Piece::Kind::start && isOneOf(element, hiddenElements)) skipPast(element);
    return true;
  }

  void readAttributes(Piece& piece) {
    while (at_ < html_.size() && html_[at_] != '>') {
      if (isBlank(html_[at_]) || html_[at_] == '/' || html_[at_] == '=') {
        ++at_;
        continue;
      }
      const auto name = word("/>=");
      const auto value = attributeValue();
      if (equalIgnoringAsciiCase(name, "src")) piece.picture = value;
    }
    if (at_ < html_.size()) ++at_;
  }

  string_view attributeValue() {
    skipBlanks();
    if (at_ >= html_.size() || html_[at_] != '=') return {};
    ++at_;
    skipBlanks();
    if (at_ >= html_.size() || (html_[at_] != '"' && html_[at_] != '\'')) return word(">");
    const auto begin = at_ + 1;
    const auto end = std::min(html_.find(html_[at_], begin), html_.size());
    at_ = std::min(end + 1, html_.size());
    return html_.substr(begin, end - begin);
  }

  string_view word(string_view stops) {
    const auto begin = at_;
    while (at_ < html_.size() && !isBlank(html_[at_]) && stops.find(html_[at_]) == string_view::npos) ++at_;
    return html_.substr(begin, at_ - begin);
  }

  void skipBlanks() {
    while (at_ < html_.size() && isBlank(html_[at_])) ++at_;
  }

  /// To the end tag of a hidden element; one without an end takes all the rest.
  void skipPast(string_view element) {
    while ((at_ = html_.find("</", at_)) != string_view::npos) {
      if (equalIgnoringAsciiCase(html_.substr(at_ + 2, element.size()), element)) return;
      at_ += 2;
    }
    at_ = html_.size();
  }

  string_view html_;
  std::size_t at_ = 0;
};

// ---- Character references.

void appendCodePoint(std::string& out, std::uint32_t point) {
  if (point == 0 || point > 0x10FFFF || (point >= 0xD800 && point <= 0xDFFF)) point = 0xFFFD;
  const auto tail = [&](int shift) { out += static_cast<char>(0x80 | ((point >> shift) & 0x3F)); };
  if (point < 0x80) {
    out += static_cast<char>(point);
  } else if (point < 0x800) {
    out += static_cast<char>(0xC0 | (point >> 6)), tail(0);
  } else if (point < 0x10000) {
    out += static_cast<char>(0xE0 | (point >> 12)), tail(6), tail(0);
  } else {
    out += static_cast<char>(0xF0 | (point >> 18)), tail(12), tail(6), tail(0);
  }
}

int digitOf(char c, bool hexadecimal) {
  if (isDigit(c)) return c - '0';
  const char low = asciiLower(c);
  return hexadecimal && low >= 'a' && low <= 'f' ? low - 'a' + 10 : -1;
}

/// "#8364", "#x20AC" or "euro", decoded to the end of `out`; the length read, or 0 when it is none.
std::size_t readReference(string_view text, std::string& out) {
  constexpr std::size_t longestName = 32;
  std::size_t at = 0;
  if (text.substr(0, 1) == "#") {
    const bool hexadecimal = text.size() > 1 && asciiLower(text[1]) == 'x';
    const std::size_t begin = at = hexadecimal ? 2 : 1;
    std::uint32_t point = 0;
    for (int digit = 0; at < text.size() && (digit = digitOf(text[at], hexadecimal)) >= 0; ++at)
      point = std::min<std::uint32_t>(point * (hexadecimal ? 16 : 10) + static_cast<std::uint32_t>(digit), 0x110000);
    if (at == begin) return 0;
    appendCodePoint(out, point);
  } else {
    while (at < text.size() && at < longestName && (isLetter(text[at]) || isDigit(text[at]))) ++at;
    const std::string name(text.substr(0, at));
    const auto* entity = htmlEntityLookup(reinterpret_cast<const xmlChar*>(name.c_str()));
    if (!entity) return 0;
    appendCodePoint(out, entity->value);
  }
  return at < text.size() && text[at] == ';' ? at + 1 : at;
}

// ---- Lines.

/// Puts pieces of text together to lines. A line's end is written only when something follows it.
class LineWriter {
 public:
  void text(string_view text) {
    for (std::size_t at = 0; at < text.size(); ++at) {
      if (isBlank(text[at])) {
        blank(text[at]);
        continue;
      }
      std::string referred;
      const auto length = text[at] == '&' ? readReference(text.substr(at + 1), referred) : 0;
      if (length > 0 && isBlank(referred.front())) {
        blank(referred.front());  // "&#10;" is white space like any other
      } else {
        openLine();
        if (length > 0)
          out_ += referred;
        else
          out_ += text[at];
      }
      at += length;
    }
  }

  void tag(const Piece& piece) {
    const bool starts = piece.kind == Piece::Kind::start;
    if (equalIgnoringAsciiCase(piece.element, "br")) {
      endLine();
    } else if (isOneOf(piece.element, blockElements)) {
      if (!lineIsEmpty_) endLine();
      if (equalIgnoringAsciiCase(piece.element, "pre")) preformatted_ = starts;
    } else if (starts && !lineIsEmpty_ &&
               (equalIgnoringAsciiCase(piece.element, "td") || equalIgnoringAsciiCase(piece.element, "th"))) {
      openLine();
      out_ += '\t';
    }
  }

  /// The first line with something on it, once it is finished.
  bool hasTitle() const { return !title_.empty(); }
  const std::string& title() const { return title_; }

  std::string finish() {
    if (!lineIsEmpty_) endLine();
    return std::move(out_);
  }

 private:
  void blank(char c) {
    if (!preformatted_) {
      blankBefore_ = true;
    } else if (c == '\n') {
      endLine();
    } else if (c != '\r') {
      openLine();
      out_ += c;
    }
  }

  void openLine() {
    if (breaksBefore_ > 0) {
      out_.append(breaksBefore_, '\n');
      lineBegin_ = out_.size();
      breaksBefore_ = 0;
    } else if (blankBefore_ && !lineIsEmpty_) {
      out_ += ' ';
    }
    blankBefore_ = lineIsEmpty_ = false;
  }

  void endLine() {
    if (blankBefore_ && string_view(out_).substr(lineBegin_) == "--") out_ += ' ';  // the mark of a mail's signature
    if (!lineIsEmpty_ && title_.empty()) title_ = Text::trim(string_view(out_).substr(lineBegin_));
    ++breaksBefore_;
    lineIsEmpty_ = true;
    blankBefore_ = false;
  }

  std::string out_;
  std::string title_;
  std::size_t lineBegin_ = 0;
  std::size_t breaksBefore_ = 0;
  bool blankBefore_ = false;
  bool lineIsEmpty_ = true;
  bool preformatted_ = false;
};

void write(const Piece& piece, LineWriter& lines) {
  if (piece.kind == Piece::Kind::text)
    lines.text(piece.text);
  else
    lines.tag(piece);
}

/// HTML knows no NUL, and what a script gets must be UTF-8.
std::string readable(string_view html) {
  std::string text = Text::repairUTF8(std::string(html));
  return text.find('\0') == std::string::npos ? text : Text::replaceAll(text, string_view("\0", 1), "\uFFFD");
}

}  // namespace

std::string HtmlText::plain(std::string_view html) {
  const auto text = readable(html);
  PieceReader pieces(text);
  LineWriter lines;
  for (Piece piece; pieces.next(piece);) write(piece, lines);
  return lines.finish();
}

std::optional<std::string> HtmlText::firstLine(std::string_view html, bool isBeginning) {
  const auto text = readable(html);
  PieceReader pieces(text);
  LineWriter lines;
  for (Piece piece; !lines.hasTitle() && pieces.next(piece);) {
    if (isBeginning && pieces.atEnd()) return std::nullopt;
    write(piece, lines);
  }
  if (!lines.hasTitle() && !isBeginning) lines.finish();
  return lines.hasTitle() ? std::optional(lines.title()) : std::nullopt;
}

std::vector<std::string> HtmlText::pictures(std::string_view html) {
  const auto text = readable(html);
  PieceReader pieces(text);
  std::vector<std::string> sources;
  for (Piece piece; pieces.next(piece);)
    if (piece.kind == Piece::Kind::start && equalIgnoringAsciiCase(piece.element, "img") && !piece.picture.empty())
      sources.emplace_back(piece.picture);
  return sources;
}
