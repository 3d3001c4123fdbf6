#include "Platform/linux/stores/MimeFields.h"

#include <algorithm>

using std::string_view;

char Mime::lineEnd(string_view bytes) noexcept {
  return bytes.find('\n') == string_view::npos && bytes.find('\r') != string_view::npos ? '\r' : '\n';
}

std::optional<string_view> Mime::fieldName(string_view line) noexcept {
  auto name = line.substr(0, line.find(':'));
  if (name.size() == line.size()) return std::nullopt;
  while (!name.empty() && (name.back() == ' ' || name.back() == '\t')) name.remove_suffix(1);
  const bool isName =
      !name.empty() && std::all_of(name.begin(), name.end(), [](char c) { return c > ' ' && c < 0x7F; });
  return isName ? std::optional(name) : std::nullopt;
}

bool Mime::isMailboxMark(string_view line) noexcept { return line.starts_with("From ") || line.starts_with(">From "); }

Mime::FieldReader::FieldReader(string_view bytes) : rest_(bytes), lineEnd_(lineEnd(bytes)) {
  if (isMailboxMark(rest_)) takeLine();
  auto beginning = *this;
  if (!fieldName(beginning.takeLine())) rest_ = {};
}

/// Without its break.
string_view Mime::FieldReader::takeLine() {
  const auto end = rest_.find(lineEnd_);
  auto line = rest_.substr(0, end);
  rest_.remove_prefix(end == string_view::npos ? rest_.size() : end + 1);
  if (line.ends_with('\r')) line.remove_suffix(1);
  return line;
}

bool Mime::FieldReader::next(Field& field) {
  while (!rest_.empty()) {
    const auto line = takeLine();
    if (line.empty()) break;
    const auto name = fieldName(line);
    auto last = line;
    while (rest_.starts_with(' ') || rest_.starts_with('\t')) last = takeLine();
    if (!name) continue;
    const auto* value = line.data() + line.find(':') + 1;
    field = {.name = *name, .value = {value, static_cast<std::size_t>(last.data() + last.size() - value)}};
    return true;
  }
  rest_ = {};
  return false;
}
