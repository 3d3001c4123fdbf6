// Reads one level of a JSON object and keeps each member as text. What lies deeper is checked but
// never built, so any depth of nesting costs linear time and a bit a level, and a number comes back as
// the client wrote it.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace ShallowJson {

enum class Kind { null, boolean, number, string, array, object };

struct Member {
  Kind kind = Kind::null;
  std::string json;  // the value as compact JSON text; numbers beyond 64 bits and fractions as they came
  std::string text;  // a string's decoded text
};

using Object = std::map<std::string, Member, std::less<>>;

/// The members of the object that `text` (valid UTF-8) holds; of equal keys the last counts. Nothing when the text
/// isn't JSON (RFC 8259, a byte order mark in front is passed over) or its value isn't an object.
std::optional<Object> parse(std::string_view text);

/// The member of that key and kind, or null.
const Member* find(const Object& object, std::string_view key, Kind kind);

/// `text` as a JSON string with its quotes. Invalid UTF-8 becomes U+FFFD.
std::string quote(std::string_view text);

}  // namespace ShallowJson
