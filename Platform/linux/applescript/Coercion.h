// The language's conversions and comparisons between values; applications use the same ones.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "Platform/linux/applescript/Value.h"

namespace AppleScript {

/// Each throws -1700 "Can’t make <source form> into type <class>." when there is no such conversion.
std::string asText(const Value& value, std::string_view delimiter = "");  // `delimiter` joins lists
std::int64_t asInteger(const Value& value);                               // a real is rounded, half to even
double asReal(const Value& value);
bool asBoolean(const Value& value);
Date asDate(const Value& value);

bool isNumber(const Value& value);  // an integer or a real

/// `value as type`, for every class name a script may write there.
Value coerced(const Value& value, std::string_view type, std::string_view delimiter = "");

/// Arithmetic that leaves ±536870911 goes on in reals, as the language's integers are that small.
inline constexpr double largestInteger = 536870911;

/// As messages show it: "abc" with its quotes, {1, 2}, note id "x" of folder "Notes" of application
/// "Notes".
std::string sourceForm(const Value& value);
/// As osascript prints a result: text bare, lists without braces and joined by ", ".
std::string resultForm(const Value& value);

/// What a comparison of texts looks at; set by `considering` and `ignoring`.
struct Attention {
  bool letterCase = false;
  bool diacriticals = true;
  bool hyphens = true;
  bool punctuation = true;
  bool whiteSpace = true;
  bool numericStrings = false;
};
/// The key of a text: two texts are equal, contain or precede each other as their keys do, bytewise.
std::string comparisonKey(std::string_view text, const Attention& attention = {});

bool equal(const Value& a, const Value& b, const Attention& attention = {});
bool contains(const Value& whole, const Value& part, const Attention& attention = {});

}  // namespace AppleScript
