// Fields of a stored JSON object, each by its type. The files are also edited by hand and by other programs: a value of
// another type counts as missing, and costs only itself.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Platform/JsonNames.h"

namespace RecordFields {

/// The value under `key`; null for anything but an object that has it.
const Json& value(const Json& object, const char* key);

std::optional<std::string> text(const Json& object, const char* key);
std::optional<bool> boolean(const Json& object, const char* key);
/// A whole number of 64 bits; one that is written as 5.0 is whole too.
std::optional<long long> integer(const Json& object, const char* key);
/// Nothing when one of them isn't an integer.
std::optional<std::vector<long long>> integers(const Json& object, const char* key);

// For records that count whole or not at all: false for a value of another type.

bool read(const Json& object, const char* key, std::string& into);                 // and for a missing one
bool read(const Json& object, const char* key, std::optional<std::string>& into);  // which may be missing, or null

}  // namespace RecordFields
