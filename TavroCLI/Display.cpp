#include "TavroCLI/Display.h"

#include <fmt/format.h>
#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "Platform/Json.h"
#include "Platform/Text.h"

namespace {

constexpr std::string_view bar = " │ ";
constexpr std::string_view ellipsis = "…";
constexpr std::size_t widestLabel = 24;

/// Does the character act on the text around it without showing anything itself? The joiners stay: scripts and emoji
/// are written with them.
bool steers(UChar32 character) {
  if (character == 0x200C || character == 0x200D) return false;
  switch (u_charType(character)) {
    case U_CONTROL_CHAR:
    case U_FORMAT_CHAR:
    case U_LINE_SEPARATOR:
    case U_PARAGRAPH_SEPARATOR:
      return true;
    default:
      return false;
  }
}

std::string writtenOut(UChar32 character) {
  if (character == '\n') return "\\n";
  if (character == '\t') return "\\t";
  if (character == '\r') return "\\r";
  return fmt::format("\\u{{{:X}}}", static_cast<unsigned>(character));
}

std::string harmlessExcept(std::string_view exceptions, std::string_view text) {
  const std::string repaired = Text::repairUTF8(std::string(text));
  const auto size = static_cast<std::int32_t>(repaired.size());
  std::string result;
  result.reserve(repaired.size());
  for (std::int32_t next = 0; next < size;) {
    const std::int32_t begin = next;
    UChar32 character = 0;
    U8_NEXT(repaired.data(), next, size, character);
    const bool kept = character < 0x80 && exceptions.find(static_cast<char>(character)) != exceptions.npos;
    if (kept || !steers(character)) {
      result.append(repaired, static_cast<std::size_t>(begin), static_cast<std::size_t>(next - begin));
    } else {
      result += writtenOut(character);
    }
  }
  return result;
}

/// Columns of one code point, as wcwidth counts them: a terminal that doesn't join a sequence shows each part of it, so
/// the sum is never less than what is shown, and a wrapped line never reaches the edge unseen.
std::size_t columnsOf(UChar32 character) {
  const int width = u_getIntPropertyValue(character, UCHAR_EAST_ASIAN_WIDTH);
  if (width == U_EA_WIDE || width == U_EA_FULLWIDTH) return 2;
  if (character == 0xFE0F) return 1;  // makes an emoji, two columns wide, of the sign before it
  const int type = u_charType(character);
  return type == U_NON_SPACING_MARK || type == U_ENCLOSING_MARK || type == U_FORMAT_CHAR ? 0 : 1;
}

/// The byte offset at which a line of that many columns ends; at least one code point is taken.
std::size_t lineEnd(std::string_view text, std::size_t columns) {
  const auto size = static_cast<std::int32_t>(text.size());
  std::size_t used = 0;
  std::int32_t next = 0;
  while (next < size) {
    const std::int32_t begin = next;
    UChar32 character = 0;
    U8_NEXT_OR_FFFD(text.data(), next, size, character);
    used += columnsOf(character);
    if (used > columns && begin > 0) return static_cast<std::size_t>(begin);
  }
  return text.size();
}

/// The same, behind the last blank of the line where there is one.
std::size_t lineEndAtBlank(std::string_view text, std::size_t columns) {
  const std::size_t end = lineEnd(text, columns);
  const std::size_t blank = end < text.size() ? text.substr(0, end).rfind(' ') : text.npos;
  return blank == text.npos ? end : blank + 1;
}

std::string padded(std::string text, std::size_t columns) {
  const std::size_t used = Display::width(text);
  return used < columns ? text.append(columns - used, ' ') : text;
}

/// A label that is too long for its column, an agent's argument name for instance, moves into the value.
Display::Field shortLabelled(const Display::Field& field) {
  std::string label = Display::harmless(field.label);
  if (Display::width(label) <= widestLabel) return {std::move(label), field.value};
  return {"(long name)", label + "\n" + field.value};
}

void listPlain(const std::vector<Display::Cells>& rows) {
  std::string text;
  for (const auto& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) text += (i == 0 ? "" : "\t") + Display::harmless(row[i].text);
    text += '\n';
  }
  Terminal::print(text);
}

std::string tableLine(const Display::Cells& cells, const std::vector<std::size_t>& widths) {
  std::string line;
  for (std::size_t i = 0; i < cells.size(); ++i) {
    const bool isLast = i + 1 == cells.size();
    const std::string text = Display::clipped(cells[i].text, widths[i]);
    line += Terminal::styled(isLast ? text : padded(text, widths[i]), cells[i].style) + (isLast ? "\n" : "  ");
  }
  return line;
}

/// Takes columns from the widest cells until a line fits the terminal, or none is wide any more. The first, by which a
/// person names a thing, gives nothing.
void fit(std::vector<std::size_t>& widths, std::size_t edge) {
  constexpr std::size_t narrow = 10;
  std::size_t used = 2 * (widths.size() - 1);
  for (const std::size_t width : widths) used += width;
  for (; used > edge && widths.size() > 1; --used) {
    const auto widest = std::max_element(widths.begin() + 1, widths.end());
    if (*widest <= narrow) return;
    --*widest;
  }
}

void listAligned(const std::vector<std::string>& headings, std::vector<Display::Cells> rows) {
  constexpr std::size_t longest = 1000;
  Display::Cells heading;
  for (const auto& text : headings) heading.push_back({text, Terminal::Style::dim});
  rows.insert(rows.begin(), heading);
  std::vector<std::size_t> widths(headings.size(), 0);
  for (auto& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i) {
      row[i].text = Display::clipped(Display::harmless(row[i].text), longest);
      widths[i] = std::max(widths[i], Display::width(row[i].text));
    }
  }
  fit(widths, Terminal::columns());
  std::string text;
  for (const auto& row : rows) text += tableLine(row, widths);
  Terminal::print(text);
}

std::string asText(const OrderedJson& record) {
  return record.dump(-1, ' ', Terminal::outputIsTerminal(), OrderedJson::error_handler_t::replace);
}

}  // namespace

namespace Display {

std::string harmless(std::string_view text) { return harmlessExcept("", text); }

std::string harmlessLines(std::string_view text) {
  return harmlessExcept("\n\t", Text::replaceAll(text, "\r\n", "\n"));
}

std::size_t width(std::string_view text) {
  const auto size = static_cast<std::int32_t>(text.size());
  std::size_t result = 0;
  for (std::int32_t next = 0; next < size;) {
    UChar32 character = 0;
    U8_NEXT_OR_FFFD(text.data(), next, size, character);
    result += columnsOf(character);
  }
  return result;
}

std::string clipped(std::string_view text, std::size_t columns) {
  if (text.size() <= columns) return std::string(text);
  const std::size_t end = lineEnd(text, columns);
  if (end == text.size()) return std::string(text);
  return std::string(text.substr(0, lineEnd(text, std::max<std::size_t>(columns, 2) - 1))) + std::string(ellipsis);
}

std::vector<std::string> lines(std::string_view text, std::size_t columns) {
  std::vector<std::string> result;
  for (const std::string& raw : Text::split(Text::replaceAll(text, "\r\n", "\n"), '\n')) {
    const std::string line = harmless(raw);
    std::string_view rest = line;
    do {
      const std::size_t end = columns == 0 ? rest.size() : lineEndAtBlank(rest, columns);
      result.emplace_back(rest.substr(0, end));
      rest.remove_prefix(end);
    } while (!rest.empty());
  }
  return result;
}

std::string fields(const std::vector<Field>& fields, std::size_t columns) {
  std::vector<Field> shown;
  std::transform(fields.begin(), fields.end(), std::back_inserter(shown), shortLabelled);
  std::size_t labels = 0;
  for (const auto& field : shown) labels = std::max(labels, width(field.label));
  const std::size_t room = columns == 0 ? 0 : std::max(columns, labels + 20) - labels - 4;
  std::string text;
  for (const auto& field : shown) {
    std::string label = field.label;
    for (const auto& line : lines(field.value, room)) {
      text += padded(std::exchange(label, ""), labels) + std::string(bar) + line + "\n";
    }
  }
  return text;
}

void print(const std::vector<Field>& fields) {
  Terminal::print(Display::fields(fields, Terminal::outputIsTerminal() ? Terminal::columns() : 0));
}

void list(const std::vector<std::string>& headings, const std::vector<Cells>& rows) {
  if (!Terminal::outputIsTerminal()) return listPlain(rows);
  if (!rows.empty()) listAligned(headings, rows);
}

void list(const std::vector<OrderedJson>& records) {
  std::string text = "[";
  for (const auto& record : records) text += (text.size() == 1 ? "\n" : ",\n") + asText(record);
  Terminal::print(text + (records.empty() ? "]\n" : "\n]\n"));
}

void show(const OrderedJson& record) { Terminal::print(asText(record) + "\n"); }

std::string pairs(const std::map<std::string, std::string>& values) {
  std::string text;
  for (const auto& [key, value] : values) text += (text.empty() ? "" : " ") + key + "=" + value;
  return text;
}

}  // namespace Display
