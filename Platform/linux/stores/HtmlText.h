// What a reader of an HTML text sees: its lines, and its pictures. One pass over the bytes without a
// tree, so that a note of any size and any nesting costs linear time and no stack. (libxml2's parser
// looks an end tag up in the list of all open elements: 100,000 open <div>s and as many stray end tags
// take it ten seconds. We use its table of entities.)
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace HtmlText {

/// The text: block elements, list items and <br> begin new lines, a table's cells are parted by tabs,
/// runs of white space count as one blank outside <pre>. Bytes that aren't UTF-8 become U+FFFD. Lines
/// are parted by LF; there are none at the end.
std::string plain(std::string_view html);

/// The first line of `plain` with something on it; nothing when there is none. With `isBeginning`, `html`
/// is the beginning of a longer text, and the answer is also nothing when that line doesn't end in it.
std::optional<std::string> firstLine(std::string_view html, bool isBeginning = false);

/// The sources of the pictures, in order.
std::vector<std::string> pictures(std::string_view html);

}  // namespace HtmlText
