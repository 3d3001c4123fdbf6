// Where the statements of a TOML file stand, so that one of them can be edited in place. Values aren't read, but for
// what tells where they end: an array or a text may go over several lines, and hold lines that look like statements.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace TomlOutline {

/// A table's header, or a key with its value.
struct Statement {
  std::size_t line = 0, lines = 1;  // the first one, counted from 0, and how many
  bool isHeader = false;
  std::string table, key;  // without quotes and blanks; one with an escape in it isn't known again

  /// "table.key", or what of it there is.
  std::string path() const { return table + (table.empty() || key.empty() ? "" : ".") + key; }
};

/// In the order of the file; nothing when it ends within a value.
std::optional<std::vector<Statement>> of(const std::vector<std::string>& lines);

}  // namespace TomlOutline
