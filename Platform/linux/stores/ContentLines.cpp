#include "Platform/linux/stores/ContentLines.h"

#include <algorithm>

#include "Platform/Text.h"

namespace {

using std::string_view;

char upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }
char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

/// The line without its end and its foldings; most lines have none, and stay where they are.
class Unfolded {
 public:
  explicit Unfolded(string_view raw) : line_(raw.substr(0, raw.find_last_not_of("\r\n") + 1)) {
    if (line_.find('\n') != string_view::npos) join();
  }
  Unfolded(const Unfolded&) = delete;
  Unfolded& operator=(const Unfolded&) = delete;

  string_view line() const { return line_; }

 private:
  void join() {
    joined_.reserve(line_.size());
    for (auto rest = line_;;) {
      const auto feed = rest.find('\n');
      if (feed == string_view::npos) {
        line_ = joined_.append(rest);
        return;
      }
      joined_.append(rest.substr(0, feed > 0 && rest[feed - 1] == '\r' ? feed - 1 : feed));
      rest.remove_prefix(std::min(feed + 2, rest.size()));  // with the blank that goes on with the line
    }
  }

  string_view line_;
  std::string joined_;
};

/// The colon between parameters and value, which quotes hide; or npos.
std::size_t valueColon(string_view line) {
  bool quoted = false;
  for (std::size_t at = 0; at < line.size(); ++at) {
    if (line[at] == '"') quoted = !quoted;
    if (line[at] == ':' && !quoted) return at;
  }
  return string_view::npos;
}

/// `text` cut at each `separator` that no backslash or quote hides.
std::vector<string_view> cut(string_view text, char separator, char quote = '\0') {
  std::vector<string_view> pieces;
  std::size_t begin = 0;
  bool quoted = false;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] == '\\' && quote == '\0') {
      ++at;
    } else if (quote != '\0' && text[at] == quote) {
      quoted = !quoted;
    } else if (text[at] == separator && !quoted) {
      pieces.push_back(text.substr(begin, at - begin));
      begin = at + 1;
    }
  }
  pieces.push_back(text.substr(begin));
  return pieces;
}

std::string unescaped(string_view value) {
  std::string text;
  text.reserve(value.size());
  for (std::size_t at = 0; at < value.size(); ++at) {
    if (value[at] == '\\' && at + 1 < value.size()) {
      ++at;
      text += lower(value[at]) == 'n' ? '\n' : value[at];
    } else {
      text += value[at];
    }
  }
  return Text::repairUTF8(std::move(text));
}

/// At most 75 bytes a line, cut between characters; what follows begins with a blank.
std::string folded(string_view line, string_view lineEnd) {
  std::string result;
  std::size_t room = 75;
  while (line.size() > room) {
    std::size_t length = room;
    while (length > 1 && (static_cast<unsigned char>(line[length]) & 0xC0) == 0x80) --length;
    result.append(line.substr(0, length)).append(lineEnd).append(" ");
    line.remove_prefix(length);
    room = 74;
  }
  return result.append(line).append(lineEnd);
}

}  // namespace

namespace ContentLines {

std::string uppercase(string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(), upper);
  return result;
}

string_view take(string_view bytes, std::size_t& at) {
  const auto begin = at;
  do {
    const auto feed = bytes.find('\n', at);
    at = feed == string_view::npos ? bytes.size() : feed + 1;
  } while (at < bytes.size() && (bytes[at] == ' ' || bytes[at] == '\t'));
  return bytes.substr(begin, at - begin);
}

Line parse(string_view raw) {
  Line line{.raw = std::string(raw), .group = {}, .name = {}, .parameters = {}};
  // Only what stands before the value is taken apart here: a photo's value may be megabytes.
  constexpr std::size_t enough = 65'536;
  const Unfolded start(raw.substr(0, enough));
  const auto colon = valueColon(start.line());
  if (colon == string_view::npos) return line;
  const auto head = start.line().substr(0, colon);
  const auto nameEnd = std::min(head.find(';'), head.size());
  const auto dot = head.substr(0, nameEnd).find('.');
  const auto nameBegin = dot == string_view::npos ? 0 : dot + 1;
  if (dot != string_view::npos) line.group = head.substr(0, dot);
  line.name = uppercase(head.substr(nameBegin, nameEnd - nameBegin));
  line.parameters = head.substr(nameEnd);
  return line;
}

Line make(string_view name, string_view parameters, string_view escapedValue, string_view lineEnd) {
  Line line{.raw = {}, .group = {}, .name = std::string(name), .parameters = std::string(parameters)};
  line.setValue(escapedValue, lineEnd);
  return line;
}

bool isMark(const Line& line, string_view mark, string_view what) {
  return line.name == mark && line.group.empty() && Text::equalIgnoringCase(Text::trim(line.value()), what);
}

void Line::setValue(string_view escapedValue, string_view lineEnd) {
  const auto before = group.empty() ? "" : group + ".";
  raw = folded(before + name + parameters + ":" + std::string(escapedValue), lineEnd);
}

std::string Line::value() const {
  const Unfolded whole(raw);
  const auto colon = valueColon(whole.line());
  return colon == string_view::npos ? "" : std::string(whole.line().substr(colon + 1));
}

std::string Line::text() const { return unescaped(value()); }

std::vector<std::string> Line::components() const {
  const auto whole = value();
  const auto pieces = cut(whole, ';');
  std::vector<std::string> texts(pieces.size());
  std::transform(pieces.begin(), pieces.end(), texts.begin(), unescaped);
  return texts;
}

std::vector<std::string> Line::parameter(string_view wanted) const {
  std::vector<std::string> values;
  for (const auto piece : cut(parameters, ';', '"')) {
    const auto equals = std::min(piece.find('='), piece.size());
    if (uppercase(piece.substr(0, equals)) != wanted) continue;
    for (auto value : cut(piece.substr(std::min(equals + 1, piece.size())), ',', '"')) {
      if (value.size() > 1 && value.front() == '"' && value.back() == '"') value = value.substr(1, value.size() - 2);
      for (const auto one : cut(value, ',')) values.push_back(Text::lowercase(one));  // TYPE="work,voice"
    }
  }
  return values;
}

std::optional<std::string> Line::parameterText(string_view wanted) const {
  for (const auto piece : cut(parameters, ';', '"')) {
    const auto equals = piece.find('=');
    if (equals == string_view::npos || uppercase(piece.substr(0, equals)) != wanted) continue;
    auto value = piece.substr(equals + 1);
    if (value.size() > 1 && value.front() == '"' && value.back() == '"') value = value.substr(1, value.size() - 2);
    return std::string(value);
  }
  return std::nullopt;
}

std::string escaped(string_view text) {
  std::string value;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const char c = text[at];
    if (c == '\\' || c == ',' || c == ';') value += '\\';
    if (c == '\r' && at + 1 < text.size() && text[at + 1] == '\n') continue;
    value += c == '\n' || c == '\r' ? "\\n" : std::string(1, c);
  }
  return value;
}

std::string joinComponents(const std::vector<std::string>& components) {
  std::vector<std::string> values(components.size());
  std::transform(components.begin(), components.end(), values.begin(), escaped);
  return Text::join(values, ";");
}

}  // namespace ContentLines
