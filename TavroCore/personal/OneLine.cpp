#include "TavroCore/personal/OneLine.h"

#include "Platform/Text.h"

std::string onOneLine(std::string_view text) {
  const auto whole = Text::repairUTF8(std::string(text));
  std::string line;
  for (const auto piece : Text::lines(whole)) {
    if (!line.empty()) line += ' ';
    for (std::size_t at = 0; at < piece.size(); ++at) {
      const auto byte = static_cast<unsigned char>(piece[at]);
      const bool isLater = byte == 0xC2 && static_cast<unsigned char>(piece[at + 1]) < 0xA0;  // U+0080 to U+009F
      line += byte < 0x20 || byte == 0x7F || isLater ? ' ' : piece[at];
      if (isLater) ++at;
    }
  }
  return line;
}
