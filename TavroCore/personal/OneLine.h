// Texts that others wrote, made fit for a line of their own.
#pragma once

#include <string>
#include <string_view>

/// `text` with a blank for each run of line breaks and each control character: a record stays one line, and the title
/// of a stranger's invitation can't pass for a second event.
std::string onOneLine(std::string_view text);
