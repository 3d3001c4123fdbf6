// Content lines, of which vCards (RFC 6350) and calendars (RFC 5545) are made: `item1.EMAIL;TYPE=work:ann@example.org`.
// A line keeps the bytes that it had in its file, foldings and line end included, until it is written anew.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ContentLines {

struct Line {
  std::string raw;         // as it stands in the file, foldings and line end included
  std::string group;       // "item1"; calendars have none
  std::string name;        // upper case; empty for a line that is no content line
  std::string parameters;  // ";TYPE=work"

  /// Behind the colon, unfolded, with its escapes.
  std::string value() const;
  /// The value as a text (\n, \, \; and \\ resolved; always UTF-8), or its parts between unescaped
  /// semicolons.
  std::string text() const;
  std::vector<std::string> components() const;
  /// The values of a parameter in lower case, given in one list or by repeating it: {"work", "pref"}.
  std::vector<std::string> parameter(std::string_view name) const;
  /// A parameter as it is written, without its quotes.
  std::optional<std::string> parameterText(std::string_view name) const;

  /// Writes the line anew, folded.
  void setValue(std::string_view escapedValue, std::string_view lineEnd);
};

/// Cuts the next line off at `at`, with those that continue it; moves `at` behind them.
std::string_view take(std::string_view bytes, std::size_t& at);
Line parse(std::string_view raw);
Line make(std::string_view name, std::string_view parameters, std::string_view escapedValue, std::string_view lineEnd);
/// A line that says BEGIN or END of something: is it of `what`? A mark has no group, or it could go with one.
bool isMark(const Line& line, std::string_view mark, std::string_view what);

std::string uppercase(std::string_view text);  // of ASCII letters
std::string escaped(std::string_view text);
std::string joinComponents(const std::vector<std::string>& components);

}  // namespace ContentLines
