// The scanner. It goes over the bytes once; everything but strings, comments and barred identifiers
// is ASCII and a handful of known signs, so there is no need to decode the text.
#include "Platform/linux/applescript/Lexer.h"

#include <algorithm>
#include <array>

#include "Platform/Text.h"

namespace AppleScript {
namespace {

// Longest first where one begins with another.
constexpr std::array<std::string_view, 22> symbols = {"<=", ">=", "/=", "(", ")", "{", "}", ",", ":", "&", "+",
                                                      "-",  "*",  "/",  "÷", "^", "=", "≠", "<", ">", "≤", "≥"};
constexpr std::string_view continuation = "¬";
constexpr std::string_view noBreakSpace = "\u00a0";
constexpr std::string_view byteOrderMark = "\ufeff";

bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; }
bool isWordPart(char c) { return isLetter(c) || isDigit(c); }
bool isBreak(char c) { return c == '\n' || c == '\r'; }

std::string lowered(std::string_view text) {
  std::string key(text);
  for (char& c : key)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return key;
}

class Scanner {
 public:
  explicit Scanner(std::string_view source) : source_(source) {
    if (source.starts_with(byteOrderMark)) at_ = byteOrderMark.size();
    if (source.substr(at_).starts_with("#!")) skipLine();
  }

  std::vector<Token> all() {
    while (at_ < source_.size()) step();
    add(Token::Kind::endOfLine, at_, "\n");
    add(Token::Kind::endOfScript, at_, "");
    return std::move(tokens_);
  }

 private:
  bool ahead(std::string_view text) const { return source_.substr(at_, text.size()) == text; }
  char peek(std::size_t offset = 0) const { return at_ + offset < source_.size() ? source_[at_ + offset] : '\0'; }

  [[noreturn]] void fail(std::size_t begin, std::size_t end, std::string text) const {
    throw SyntaxError({begin, std::min(end, source_.size())}, std::move(text));
  }

  Token& add(Token::Kind kind, std::size_t begin, std::string text) {
    tokens_.push_back({kind, {begin, at_}, std::move(text), {}, space_});
    space_ = false;
    return tokens_.back();
  }

  void skipLine() {
    while (at_ < source_.size() && !isBreak(source_[at_])) ++at_;
  }

  bool skipBlank() {
    const std::size_t begin = at_;
    if (peek() == ' ' || peek() == '\t')
      ++at_;
    else if (ahead(noBreakSpace))
      at_ += noBreakSpace.size();
    if (at_ != begin) space_ = true;
    return at_ != begin;
  }

  void skipBreak() { at_ += ahead("\r\n") ? 2 : 1; }

  void step() {
    const char c = source_[at_];
    if (skipBlank()) return;
    if (isBreak(c)) return endOfLine();
    if (ahead("--") || c == '#') return skipLine();
    if (ahead("(*")) return comment();
    if (c == '"') return string();
    if (c == '|') return barred();
    if (ahead(continuation)) return continued();
    if (isDigit(c) || (c == '.' && isDigit(peek(1)))) return number();
    if (isLetter(c)) return word();
    if (possessive()) return;
    symbol();
  }

  void endOfLine() {
    const std::size_t begin = at_;
    skipBreak();
    add(Token::Kind::endOfLine, begin, "\n");
    space_ = true;
  }

  void comment() {
    const std::size_t begin = at_;
    std::size_t depth = 0;
    do {
      if (at_ >= source_.size()) fail(begin, begin + 2, "Expected “*)” but found end of script.");
      if (ahead("(*")) {
        ++depth;
        at_ += 2;
      } else if (ahead("*)")) {
        --depth;
        at_ += 2;
      } else {
        ++at_;
      }
    } while (depth > 0);
    space_ = true;
  }

  void continued() {
    const std::size_t begin = at_;
    at_ += continuation.size();
    while (skipBlank()) {
    }
    if (ahead("--") || peek() == '#') skipLine();
    if (!isBreak(peek())) fail(begin, begin + continuation.size(), "Expected expression but found unknown token.");
    skipBreak();
    space_ = true;
  }

  char escaped() {
    switch (peek(1)) {
      case '"':
        return '"';
      case '\\':
        return '\\';
      case 'n':
        return '\n';
      case 'r':
        return '\r';
      case 't':
        return '\t';
      default:
        fail(at_, at_ + 2, "Expected “\"” but found unknown token.");
    }
  }

  void string() {
    const std::size_t begin = at_++;
    std::string text;
    while (peek() != '"') {
      if (at_ >= source_.size()) fail(begin, begin + 1, "Expected “\"” but found end of script.");
      if (peek() == '\\') {
        text += escaped();
        at_ += 2;
      } else {
        text += source_[at_++];
      }
    }
    ++at_;
    add(Token::Kind::string, begin, std::move(text));
  }

  void barred() {
    const std::size_t begin = at_++;
    while (at_ < source_.size() && source_[at_] != '|' && !isBreak(source_[at_])) ++at_;
    const std::string name(source_.substr(begin + 1, at_ - begin - 1));
    if (peek() != '|' || name.empty()) fail(begin, begin + 1, "Expected expression but found unknown token.");
    ++at_;
    add(Token::Kind::barred, begin, name).key = Text::lowercase(name);
  }

  void digits() {
    while (isDigit(peek())) ++at_;
  }

  void number() {
    const std::size_t begin = at_;
    bool real = false;
    digits();
    if (peek() == '.' && isDigit(peek(1))) {
      real = true;
      ++at_;
      digits();
    }
    const std::size_t sign = peek(1) == '+' || peek(1) == '-' ? 2 : 1;
    if ((peek() == 'e' || peek() == 'E') && isDigit(peek(sign))) {
      real = true;
      at_ += sign;
      digits();
    }
    const std::string text(source_.substr(begin, at_ - begin));
    if (!real && ordinalSuffix()) {
      at_ += 2;
      add(Token::Kind::ordinal, begin, text);
    } else {
      if (isLetter(peek())) fail(begin, at_ + 1, "Expected end of line, etc. but found identifier.");
      add(real ? Token::Kind::real : Token::Kind::integer, begin, text);
    }
  }

  bool ordinalSuffix() const {
    const std::string suffix = lowered(source_.substr(at_, 2));
    return (suffix == "st" || suffix == "nd" || suffix == "rd" || suffix == "th") && !isWordPart(peek(2));
  }

  void word() {
    const std::size_t begin = at_;
    while (isWordPart(peek())) ++at_;
    std::string key = lowered(source_.substr(begin, at_ - begin));
    // The contractions of the comparisons: isn't, doesn't.
    if ((key == "isn" || key == "doesn" || key == "aren" || key == "don") && ahead("'t") && !isWordPart(peek(2))) {
      at_ += 2;
      key += "'t";
    }
    add(Token::Kind::word, begin, std::string(source_.substr(begin, at_ - begin))).key = std::move(key);
  }

  bool possessive() {
    if (peek() != '\'' || (peek(1) != 's' && peek(1) != 'S') || isWordPart(peek(2))) return false;
    const std::size_t begin = at_;
    at_ += 2;
    add(Token::Kind::symbol, begin, "'s");
    return true;
  }

  void symbol() {
    for (std::string_view candidate : symbols) {
      if (!ahead(candidate)) continue;
      const std::size_t begin = at_;
      at_ += candidate.size();
      add(Token::Kind::symbol, begin, std::string(candidate));
      return;
    }
    fail(at_, at_ + 1, "Expected expression but found unknown token.");
  }

  std::string_view source_;
  std::size_t at_ = 0;
  bool space_ = true;
  std::vector<Token> tokens_;
};

}  // namespace

std::vector<Token> tokens(std::string_view source) {
  if (!Text::isValidUTF8(source)) throw SyntaxError({0, 0}, "The script isn’t UTF-8 text.");
  return Scanner(source).all();
}

}  // namespace AppleScript
