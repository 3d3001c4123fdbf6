// Cuts texts, each kind of part in one walk.
#include "Platform/linux/applescript/TextParts.h"

#include <unicode/brkiter.h>
#include <unicode/utext.h>

#include <algorithm>
#include <array>

#include "Platform/Text.h"

namespace AppleScript {
namespace {

bool isBytewise(std::string_view text) {
  return std::none_of(text.begin(), text.end(),
                      [](char c) { return static_cast<unsigned char>(c) >= 0x80 || c == '\r'; });
}

std::vector<Span> characters(std::string_view text) {
  const std::vector<std::size_t> bounds = Text::characterBoundaries(text);
  std::vector<Span> spans;
  spans.reserve(bounds.size());
  for (std::size_t i = 0; i + 1 < bounds.size(); ++i) spans.push_back({bounds[i], bounds[i + 1]});
  return spans;
}

// Paragraphs end at LF, CR, CRLF and Unicode's two separators. A text that ends with one ends with an
// empty paragraph.
std::size_t breakLength(std::string_view text, std::size_t at) {
  for (std::string_view mark : {"\r\n", "\n", "\r", "\u2028", "\u2029"})
    if (text.substr(at, mark.size()) == mark) return mark.size();
  return 0;
}

std::vector<Span> paragraphs(std::string_view text) {
  if (text.empty()) return {};
  std::vector<Span> spans;
  std::size_t begin = 0;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = breakLength(text, at);
    if (length > 0) {
      spans.push_back({begin, at});
      begin = at + length;
    }
    at += std::max<std::size_t>(length, 1);
  }
  spans.push_back({begin, text.size()});
  return spans;
}

std::vector<Span> words(std::string_view text) {
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<icu::BreakIterator> walker(
      icu::BreakIterator::createWordInstance(icu::Locale::getRoot(), status));
  const icu::LocalUTextPointer bytes(
      utext_openUTF8(nullptr, text.data(), static_cast<std::int64_t>(text.size()), &status));
  if (U_SUCCESS(status)) walker->setText(bytes.getAlias(), status);
  if (U_FAILURE(status)) return {};
  std::vector<Span> spans;
  for (int32_t begin = walker->first(), end = walker->next(); end != icu::BreakIterator::DONE;
       begin = end, end = walker->next())
    if (walker->getRuleStatus() != UBRK_WORD_NONE)
      spans.push_back({static_cast<std::size_t>(begin), static_cast<std::size_t>(end)});
  return spans;
}

struct Find {
  std::size_t at = std::string::npos;
  std::size_t length = 0;
};

// The next delimiter. Where each one stands next is kept, so the whole text is searched once for each.
class DelimiterSearch {
 public:
  DelimiterSearch(std::string_view text, const std::vector<std::string>& delimiters) : text_(text) {
    for (const std::string& delimiter : delimiters)
      if (!delimiter.empty()) finds_.push_back({text.find(delimiter), delimiter});
  }

  bool splits() const { return !finds_.empty(); }

  Find from(std::size_t begin) {
    Find best;
    for (auto& [at, delimiter] : finds_) {
      if (at < begin) at = text_.find(delimiter, begin);
      if (at < best.at || (at == best.at && at != std::string::npos && delimiter.size() > best.length))
        best = {at, delimiter.size()};
    }
    return best;
  }

 private:
  std::string_view text_;
  std::vector<std::pair<std::size_t, std::string_view>> finds_;
};

std::vector<Span> textItems(std::string_view text, const std::vector<std::string>& delimiters) {
  DelimiterSearch search(text, delimiters);
  if (!search.splits()) return characters(text);
  if (text.empty()) return {};
  std::vector<Span> spans;
  std::size_t begin = 0;
  for (Find find = search.from(0); find.at != std::string::npos; find = search.from(begin)) {
    spans.push_back({begin, find.at});
    begin = find.at + find.length;
  }
  spans.push_back({begin, text.size()});
  return spans;
}

}  // namespace

bool isTextPart(std::string_view className) {
  static constexpr std::array<std::string_view, 6> parts = {"character", "word", "paragraph",
                                                            "text item", "item", "text"};
  return std::find(parts.begin(), parts.end(), className) != parts.end();
}

TextParts::TextParts(std::shared_ptr<const std::string> text, std::string_view kind,
                     std::vector<std::string> delimiters)
    : text_(std::move(text)), kind_(kind), delimiters_(std::move(delimiters)) {
  if (kind == "word")
    spans_ = words(*text_);
  else if (kind == "paragraph")
    spans_ = paragraphs(*text_);
  else if (kind == "text item")
    spans_ = textItems(*text_, delimiters_);
  else if (!(bytewise_ = isBytewise(*text_)))
    spans_ = characters(*text_);
}

std::size_t TextParts::size() const { return bytewise_ ? text_->size() : spans_.size(); }

Span TextParts::operator[](std::size_t index) const { return bytewise_ ? Span{index, index + 1} : spans_[index]; }

std::string TextParts::text(std::size_t index) const {
  const Span span = (*this)[index];
  return text_->substr(span.begin, span.end - span.begin);
}

std::shared_ptr<const TextParts> textParts(const std::shared_ptr<const std::string>& text, std::string_view kind,
                                           const std::vector<std::string>& delimiters) {
  thread_local std::array<std::shared_ptr<const TextParts>, 4> recent;  // the latest first
  auto found = std::find_if(recent.begin(), recent.end(), [&](const auto& parts) {
    return parts && parts->text_ == text && parts->kind_ == kind && parts->delimiters_ == delimiters;
  });
  if (found == recent.end()) *--found = std::make_shared<const TextParts>(text, kind, delimiters);
  std::rotate(recent.begin(), found, found + 1);
  return recent.front();
}

std::size_t offsetOf(std::string_view part, std::string_view whole, const Attention& attention) {
  const std::string needle = comparisonKey(part, attention);
  if (needle.empty()) return 0;
  const bool keepsAll = attention.hyphens && attention.punctuation && attention.whiteSpace && !attention.numericStrings;
  if (keepsAll && isBytewise(part) && isBytewise(whole)) {
    // Its key has as many bytes.
    const std::size_t at = comparisonKey(whole, attention).find(needle);
    return at == std::string::npos ? 0 : at + 1;
  }
  // The key of the whole, character by character, with the place where each one begins in it.
  std::string key;
  std::vector<std::size_t> begins;
  for (const Span& span : characters(whole)) {
    begins.push_back(key.size());
    key += comparisonKey(whole.substr(span.begin, span.end - span.begin), attention);
  }
  for (std::size_t at = key.find(needle); at != std::string::npos; at = key.find(needle, at + 1)) {
    const auto found = std::lower_bound(begins.begin(), begins.end(), at);
    if (found != begins.end() && *found == at) return static_cast<std::size_t>(found - begins.begin()) + 1;
  }
  return 0;
}

}  // namespace AppleScript
