// Property lists, the format of launchd's jobs, in XML, by libplist. Values are JSON's kinds: texts, whole numbers,
// booleans, arrays and dictionaries; a list's dates and data come as null.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/JsonNames.h"

namespace PropertyList {

constexpr std::size_t sizeLimit = 1'000'000;
constexpr std::size_t containerLimit = 4096;  // arrays and dictionaries

// Both throw Error where the library isn't there.

/// Throws Error for null.
std::string xml(const Json& value);
/// Nothing for what is no such list, a binary one too, for one that is larger than the limits say, or nests deeper than
/// JsonText::depthLimit.
std::optional<Json> parse(std::string_view bytes);

}  // namespace PropertyList
