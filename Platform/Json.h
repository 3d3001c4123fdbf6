// JSON (RFC 8259) by nlohmann-json.
#pragma once

#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/JsonNames.h"

namespace JsonText {

/// Deeper nesting than this is refused by `parse`, so that no later walk over the value can exhaust
/// the stack.
inline constexpr std::size_t depthLimit = 512;

/// The value; nothing when the text is not JSON, holds a NUL byte or nests deeper than `depthLimit`.
std::optional<Json> parse(std::string_view text);
/// As `parse`, for a text whose value must be an object.
std::optional<Json> parseObject(std::string_view text);
/// A JSON object of texts alone; nothing for any other.
std::optional<std::map<std::string, std::string>> parseTexts(std::string_view text);

/// Compact text. Invalid UTF-8 in texts becomes U+FFFD, so writing can't fail.
std::string write(const Json& value);
std::string write(const OrderedJson& value);
/// Two blanks an indent, for files that people read.
std::string writePretty(const Json& value);

}  // namespace JsonText
