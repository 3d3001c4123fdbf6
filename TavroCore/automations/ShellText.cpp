#include "TavroCore/automations/ShellText.h"

#include "Platform/Text.h"
#include "TavroCore/automations/PlainText.h"

std::string ShellText::quoted(std::string_view word) { return "'" + Text::replaceAll(word, "'", "'\\''") + "'"; }

std::string ShellText::word(std::string_view word) {
  return !word.empty() && PlainText::isPlain(word, "/._-") ? std::string(word) : quoted(word);
}
