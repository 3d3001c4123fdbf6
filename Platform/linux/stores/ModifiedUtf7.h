// How IMAP writes the names of mailboxes, and so how programs that fetch mail name directories (RFC 3501, 5.1.3):
// "Entw&APw-rfe" is "Entwürfe", "Q&-A" is "Q&A".
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace ModifiedUtf7 {

/// UTF-8; nothing when the name isn't valid: bytes beyond printable ASCII, a run that doesn't end or hides ASCII.
std::optional<std::string> decode(std::string_view name);

/// Invalid UTF-8 counts as U+FFFD.
std::string encode(std::string_view text);

}  // namespace ModifiedUtf7
