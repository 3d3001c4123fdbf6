// What may stand as a link: URI references by RFC 3986, with a scheme or relative to one, never empty.
#pragma once

#include <string_view>

namespace Url {

/// By the grammar alone, in one pass: nothing is decoded, looked up or corrected. Blanks, control characters, bytes
/// beyond ASCII and "%" without two hexadecimal digits must have been escaped, and so must < > " \ ^ ` { | }.
bool isValid(std::string_view text) noexcept;

}  // namespace Url
