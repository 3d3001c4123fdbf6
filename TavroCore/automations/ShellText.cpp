#include "TavroCore/automations/ShellText.h"

#include "Platform/Text.h"

std::string ShellText::quoted(std::string_view word) { return "'" + Text::replaceAll(word, "'", "'\\''") + "'"; }
