// Text from outside made fit for a person's eyes. Agents and strangers write the arguments, previews and outputs that
// the owner judges by; an escape sequence or a direction mark in them could make a terminal show something else than
// what is there. So everything that steers instead of showing is written out, as "\u{1B}" for instance.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Json.h"
#include "TavroCLI/Terminal.h"

namespace Display {

/// One line: controls, line breaks, tabs, direction marks and invisible format characters written out, bad UTF-8 as
/// U+FFFD.
std::string harmless(std::string_view text);
/// As `harmless`, but line breaks (CRLF becomes LF) and tabs stay.
std::string harmlessLines(std::string_view text);

/// The columns that a harmless text fills on a terminal.
std::size_t width(std::string_view text);
/// Cut to that many columns, with "…" as the last when something was cut.
std::string clipped(std::string_view text, std::size_t columns);

/// The lines of a text, harmless. One wider than `columns` is broken, behind a blank where it has one; 0 columns break
/// none.
std::vector<std::string> lines(std::string_view text, std::size_t columns);

/// A record for reading, a label and a value a row. Each line of a value stands behind a bar, and one that is too wide
/// is broken there, as by `lines`, so that no value can look like a row of its own.
struct Field {
  std::string label;
  std::string value;
};
std::string fields(const std::vector<Field>& fields, std::size_t columns);
/// On standard output; broken only where that is a terminal.
void print(const std::vector<Field>& fields);

struct Cell {
  std::string text;
  Terminal::Style style = Terminal::Style::plain;
};
using Cells = std::vector<Cell>;

/// A listing on standard output. On a terminal: a heading, and aligned columns, of which the widest are cut to fit.
/// Elsewhere: a line a record, its fields parted by tabs, no heading; the same lines for ever, for grep and cut.
void list(const std::vector<std::string>& headings, const std::vector<Cells>& rows);
/// The same as a JSON array with a record a line; in ASCII on a terminal.
void list(const std::vector<OrderedJson>& records);
/// One record as JSON.
void show(const OrderedJson& record);

/// "key=value key=value".
std::string pairs(const std::map<std::string, std::string>& values);

}  // namespace Display
