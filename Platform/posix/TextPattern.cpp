// Regular expressions, apart from the other texts, so that only programs that use them load ICU's larger
// library. The texts are matched as they lie in memory; ICU reads them as UTF-8 and answers in bytes.
#include <unicode/uregex.h>

#include "Platform/Text.h"

namespace Text {

namespace {

void check(UErrorCode status, const char* what) {
  if (U_FAILURE(status)) throw Error(std::string("could not ") + what + ": " + u_errorName(status));
}

class View {
 public:
  explicit View(std::string_view text) {
    UErrorCode status = U_ZERO_ERROR;
    utext_openUTF8(&text_, text.data(), static_cast<std::int64_t>(text.size()), &status);
    check(status, "read a text");
  }
  ~View() { utext_close(&text_); }
  View(const View&) = delete;
  View& operator=(const View&) = delete;
  UText* get() { return &text_; }

 private:
  UText text_ = UTEXT_INITIALIZER;
};

/// In ICU's unit of steps, 15 of which take a few milliseconds: some seconds in all. A text from outside can bring an
/// innocent pattern to quadratic time, by a hundred thousand beginnings of a match without an end.
constexpr std::int32_t timeLimit = 15'000;

using Expression = std::unique_ptr<URegularExpression, void (*)(URegularExpression*)>;

}  // namespace

struct Pattern::Compiled {
  Expression expression;
};

namespace {

/// One walk over the matches of a text; with an expression of its own, so that threads share a Pattern.
class Matches {
 public:
  Matches(const URegularExpression* pattern, std::string_view text) : view_(text), expression_(nullptr, uregex_close) {
    UErrorCode status = U_ZERO_ERROR;
    expression_.reset(uregex_clone(pattern, &status));
    uregex_setTimeLimit(expression_.get(), timeLimit, &status);
    uregex_setUText(expression_.get(), view_.get(), &status);
    check(status, "match a text");
  }

  std::optional<Pattern::Range> next() {
    UErrorCode status = U_ZERO_ERROR;
    const bool found = uregex_findNext(expression_.get(), &status);
    check(status, "match a text");
    if (!found) return std::nullopt;
    const Pattern::Range range{static_cast<std::size_t>(uregex_start64(expression_.get(), 0, &status)),
                               static_cast<std::size_t>(uregex_end64(expression_.get(), 0, &status))};
    check(status, "match a text");
    return range;
  }

 private:
  View view_;
  Expression expression_;
};

}  // namespace

Pattern::Pattern(std::string_view pattern, Case sensitivity) {
  View view(pattern);
  UErrorCode status = U_ZERO_ERROR;
  UParseError place{};
  const std::uint32_t flags = sensitivity == Case::insensitive ? UREGEX_CASE_INSENSITIVE : 0;
  Expression expression(uregex_openUText(view.get(), flags, &place, &status), uregex_close);
  check(status, "compile a regular expression");
  compiled_ = std::make_unique<Compiled>(Compiled{std::move(expression)});
}

Pattern::~Pattern() = default;
Pattern::Pattern(Pattern&&) noexcept = default;
Pattern& Pattern::operator=(Pattern&&) noexcept = default;

std::optional<Pattern::Range> Pattern::firstMatch(std::string_view text) const {
  return Matches(compiled_->expression.get(), text).next();
}

std::string Pattern::replaceAll(std::string_view text, std::string_view replacement) const {
  Matches matches(compiled_->expression.get(), text);
  std::string replaced;
  std::size_t begin = 0;
  while (const auto match = matches.next()) {
    replaced.append(text, begin, match->begin - begin).append(replacement);
    begin = match->end;
  }
  return replaced.append(text, begin);
}

}  // namespace Text
