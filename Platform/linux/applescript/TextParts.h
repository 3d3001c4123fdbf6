// The parts of a text: characters (user-perceived ones), words, paragraphs, text items.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/linux/applescript/Coercion.h"

namespace AppleScript {

struct Span {
  std::size_t begin = 0;  // bytes
  std::size_t end = 0;
};

/// Where the parts of one kind lie: "character", "word", "paragraph", "text item"; any other kind means characters.
class TextParts {
 public:
  TextParts(std::shared_ptr<const std::string> text, std::string_view kind, std::vector<std::string> delimiters);

  std::size_t size() const;
  Span operator[](std::size_t index) const;
  std::string text(std::size_t index) const;

 private:
  friend std::shared_ptr<const TextParts> textParts(const std::shared_ptr<const std::string>&, std::string_view,
                                                    const std::vector<std::string>&);
  std::shared_ptr<const std::string> text_;
  std::string kind_;
  std::vector<std::string> delimiters_;
  bool bytewise_ = false;  // each byte is a character
  std::vector<Span> spans_;
};

/// Those asked for lately are remembered, so that a loop over `paragraph i of s`, which looks at parts of each,
/// doesn't cut the whole text anew each time.
std::shared_ptr<const TextParts> textParts(const std::shared_ptr<const std::string>& text, std::string_view kind,
                                           const std::vector<std::string>& delimiters);
bool isTextPart(std::string_view className);

/// The number of the character at which `part` first stands in `whole`, 0 when it doesn't.
std::size_t offsetOf(std::string_view part, std::string_view whole, const Attention& attention);

}  // namespace AppleScript
