// The names that an automation may have. A name becomes a directory, a terminal session, a launchd label
// and shell text, so only names that are harmless in all of these are let in.
#pragma once

#include <string_view>

/// 1 to 100 bytes of UTF-8 that begin with a letter or digit of any script and go on with letters,
/// digits and marks of any script, blanks, "-" and "_", and don't end in a blank. So no "/", no leading dot, no quote.
bool isSafeLoopName(std::string_view name);
