// Cuts a script text into tokens. Comments and continued lines are gone afterwards; ends of lines stay,
// since they end statements.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Error.h"

namespace AppleScript {

/// A part of the source, in bytes.
struct Range {
  std::size_t begin = 0;
  std::size_t end = 0;
};

/// A text that isn't a script. `description()` is the message without place and number.
class SyntaxError : public Error {
 public:
  SyntaxError(Range range, std::string text, int number = -2741)
      : Error(std::move(text)), range_(range), number_(number) {}
  Range range() const noexcept { return range_; }
  int number() const noexcept { return number_; }

 private:
  Range range_;
  int number_;
};

struct Token {
  enum class Kind { word, barred, integer, real, ordinal, string, symbol, endOfLine, endOfScript };
  Kind kind = Kind::endOfScript;
  Range range;
  std::string text;  // as written; of a string or a barred identifier what it stands for
  std::string key;   // of a word or a barred identifier: lower-cased
  bool spaceBefore = false;

  bool is(std::string_view symbol) const { return kind == Kind::symbol && text == symbol; }
  bool isWord(std::string_view word) const { return kind == Kind::word && key == word; }
  bool endsLine() const { return kind == Kind::endOfLine || kind == Kind::endOfScript; }
};

/// The last token is endOfScript. Throws SyntaxError.
std::vector<Token> tokens(std::string_view source);

}  // namespace AppleScript
