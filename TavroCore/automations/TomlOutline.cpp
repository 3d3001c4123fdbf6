#include "TavroCore/automations/TomlOutline.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <string_view>

namespace TomlOutline {
namespace {

/// Behind the text in quotes that begins at `at`, or the line's end.
std::size_t endOfQuoted(std::string_view line, std::size_t at) {
  const char quote = line[at];
  for (std::size_t end = at + 1; end < line.size(); ++end) {
    if (line[end] == quote) return end + 1;
    if (quote == '"' && line[end] == '\\') ++end;
  }
  return line.size();
}

/// What of a value is open at the end of a line.
struct Value {
  std::size_t brackets = 0;
  std::string_view quotes;  // of a text of several lines

  bool isOpen() const { return brackets > 0 || !quotes.empty(); }

  void read(std::string_view line) {
    for (std::size_t at = 0; at < line.size();) at = quotes.empty() ? pass(line, at) : passInText(line, at);
  }

 private:
  std::size_t pass(std::string_view line, std::size_t at) {
    constexpr std::array<std::string_view, 2> openings = {"\"\"\"", "'''"};
    for (const auto opening : openings) {
      if (line.substr(at).starts_with(opening)) return quotes = opening, at + opening.size();
    }
    const char c = line[at];
    if (c == '#') return line.size();
    if (c == '"' || c == '\'') return endOfQuoted(line, at);
    if (c == '[' || c == '{') ++brackets;
    if ((c == ']' || c == '}') && brackets > 0) --brackets;
    return at + 1;
  }

  /// Two quotes more may stand right before those that close it.
  std::size_t passInText(std::string_view line, std::size_t at) {
    const char quote = quotes.front();
    if (quote == '"' && line[at] == '\\') return at + 2;
    if (!line.substr(at).starts_with(quotes)) return at + 1;
    quotes = "";
    return std::min(line.find_first_not_of(quote, at), line.size());
  }
};

std::string squeezed(std::string_view text) {
  std::string result;
  std::copy_if(text.begin(), text.end(), std::back_inserter(result),
               [](char c) { return std::string_view(" \t\r\"'").find(c) == std::string_view::npos; });
  return result;
}

/// "a.b" of "[ a . b ] # mine" and of "[[a.b]]".
std::string tableOf(const std::string& header) {
  const auto begin = header.find_first_not_of('['), end = header.find(']');
  return begin < end ? header.substr(begin, end - begin) : "";
}

}  // namespace

std::optional<std::vector<Statement>> of(const std::vector<std::string>& lines) {
  std::vector<Statement> statements;
  std::string table;
  Value value;
  for (std::size_t number = 0; number < lines.size(); ++number) {
    const bool goesOn = value.isOpen();
    value.read(lines[number]);
    if (goesOn) {
      ++statements.back().lines;
      continue;
    }
    const std::string line = squeezed(lines[number]);
    if (!value.isOpen() && (line.empty() || line.front() == '#')) continue;
    const bool isHeader = line.starts_with('[');
    if (isHeader) table = tableOf(line);
    statements.push_back(
        {.line = number, .isHeader = isHeader, .table = table, .key = isHeader ? "" : line.substr(0, line.find('='))});
  }
  if (value.isOpen()) return std::nullopt;
  return statements;
}

}  // namespace TomlOutline
