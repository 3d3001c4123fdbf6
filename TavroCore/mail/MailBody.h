// Turns the raw text of a mail, plain or HTML, into short clean text for an agent: no markup, no quoted history, no
// signature, and not much more than 8 KB. Any text costs linear time.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace MailBody {

/// UTF-8 bytes that stay; a note of what was cut comes on top.
inline constexpr std::size_t byteCap = 8192;

std::string clean(std::string_view raw);
std::string stripHTMLToText(std::string_view html);

}  // namespace MailBody
