#include "TavroCore/harness/RecordFields.h"

#include <cmath>
#include <limits>

#include "Platform/Json.h"

namespace {

std::optional<long long> wholeNumber(const Json& value) {
  if (value.is_number_unsigned()) {
    const auto number = value.get<std::uint64_t>();
    if (number > static_cast<std::uint64_t>(std::numeric_limits<long long>::max())) return std::nullopt;
    return static_cast<long long>(number);
  }
  if (value.is_number_integer()) return value.get<long long>();
  if (!value.is_number_float()) return std::nullopt;
  const double number = value.get<double>();
  const bool fits = number >= -0x1p63 && number < 0x1p63;
  if (!fits || std::trunc(number) != number) return std::nullopt;
  return static_cast<long long>(number);
}

}  // namespace

namespace RecordFields {

const Json& value(const Json& object, const char* key) {
  static const Json absent;
  if (!object.is_object()) return absent;
  const auto found = object.find(key);
  return found == object.end() ? absent : *found;
}

std::optional<std::string> text(const Json& object, const char* key) {
  const Json& found = value(object, key);
  if (!found.is_string()) return std::nullopt;
  return found.get<std::string>();
}

std::optional<bool> boolean(const Json& object, const char* key) {
  const Json& found = value(object, key);
  if (!found.is_boolean()) return std::nullopt;
  return found.get<bool>();
}

std::optional<long long> integer(const Json& object, const char* key) { return wholeNumber(value(object, key)); }

std::optional<std::vector<long long>> integers(const Json& object, const char* key) {
  const Json& found = value(object, key);
  if (!found.is_array()) return std::nullopt;
  std::vector<long long> numbers;
  for (const Json& each : found) {
    const auto number = wholeNumber(each);
    if (!number) return std::nullopt;
    numbers.push_back(*number);
  }
  return numbers;
}

bool read(const Json& object, const char* key, std::string& into) {
  const Json& found = value(object, key);
  if (found.is_string()) into = found.get<std::string>();
  return found.is_string();
}

bool read(const Json& object, const char* key, std::optional<std::string>& into) {
  return value(object, key).is_null() || read(object, key, into.emplace());
}

}  // namespace RecordFields
