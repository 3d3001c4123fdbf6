// Text of a message as UTF-8, whatever charset it claims to be in, and ASCII without regard to case. For the stores
// alone.
#pragma once

#include <string>
#include <string_view>

namespace Mime {

/// `bytes` in UTF-8. What the charset doesn't allow becomes U+FFFD, byte by byte; so does all that isn't UTF-8 when
/// nobody knows the charset. Text without a charset (or in "us-ascii") is UTF-8 when it is valid, else Windows-1252.
std::string toUTF8(std::string bytes, std::string_view charset);

/// A header's raw text as people read it: encoded words (RFC 2047) decoded, 8-bit bytes as `toUTF8` takes them.
std::string decodedWords(std::string_view raw);

/// Each run of white space and control characters as one blank, none at the ends.
std::string onOneLine(std::string_view text);

char asciiLower(char letter) noexcept;
std::string asciiLowercase(std::string_view text);
/// Compares header names, types and their kind, which are ASCII.
bool equalIgnoringAsciiCase(std::string_view a, std::string_view b) noexcept;
/// Without blanks, tabs and line breaks at both ends.
std::string_view trimSpace(std::string_view text) noexcept;

}  // namespace Mime
