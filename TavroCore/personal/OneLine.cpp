#include "TavroCore/personal/OneLine.h"

#include <algorithm>

#include "Platform/Text.h"

std::string onOneLine(std::string_view text) {
  std::string line;
  for (const auto piece : Text::lines(text)) {
    if (!line.empty()) line += ' ';
    line += piece;
  }
  const auto isControl = [](unsigned char byte) { return byte < 0x20 || byte == 0x7F; };
  std::replace_if(line.begin(), line.end(), isControl, ' ');
  return line;
}
