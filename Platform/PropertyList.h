// Property lists, the format of launchd's jobs, by libplist. Values are JSON's kinds: texts, whole numbers, booleans,
// arrays and dictionaries; a list's dates and data come as null.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Platform/JsonNames.h"

namespace PropertyList {

/// In the XML format. Throws Error for null, and where the library isn't there.
std::string xml(const Json& value);
/// Of either format, XML or binary; nothing when it is neither, or nests deeper than JsonText::depthLimit.
std::optional<Json> parse(std::string_view bytes);

}  // namespace PropertyList
