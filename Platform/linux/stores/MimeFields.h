// The header lines at the head of a message or of one of its parts. Private to the Mime sources.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace Mime {

struct Field {
  std::string_view name;   // as written
  std::string_view value;  // raw, folded lines and all, without the last line break
};

/// What ends the lines of these bytes: LF (a CR before it belongs to the break), or CR when there is no LF.
char lineEnd(std::string_view bytes) noexcept;

/// The name that the line begins with, as in "Subject: x" or "Subject : x"; nothing when it isn't a header line.
std::optional<std::string_view> fieldName(std::string_view line) noexcept;

/// Does an mbox's "From " line or its quoted form stand here, before the header?
bool isMailboxMark(std::string_view line) noexcept;

/// Goes through the header fields up to the first empty line. Lines that are none are passed over, unless the first
/// is one: then there is no header.
class FieldReader {
 public:
  explicit FieldReader(std::string_view bytes);
  /// False at the end of the header.
  bool next(Field& field);

 private:
  std::string_view takeLine();

  std::string_view rest_;
  char lineEnd_;
};

}  // namespace Mime
