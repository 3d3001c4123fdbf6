#include "TavroCore/personal/OneLine.h"

#include "Platform/Text.h"

std::string onOneLine(std::string_view text) {
  std::string line;
  const auto whole = Text::repairUTF8(std::string(text));
  for (const auto piece : Text::lines(whole)) {
    if (!line.empty()) line += ' ';
    line += piece;
  }
  for (std::size_t at = 0; at < line.size(); ++at) {
    const auto byte = static_cast<unsigned char>(line[at]);
    if (byte < 0x20 || byte == 0x7F) line[at] = ' ';
    if (byte == 0xC2 && static_cast<unsigned char>(line[at + 1]) < 0xA0) line.replace(at, 2, " ");  // U+0080 to U+009F
  }
  return line;
}
