// The limits that nlohmann-json doesn't set: the nesting is measured before a value is built, since a
// deep value costs stack whenever it is walked.
#include "Platform/Json.h"

namespace JsonText {

namespace {

/// The offset behind the text that begins at the quotation mark `at`.
std::size_t behindText(std::string_view json, std::size_t at) {
  for (++at; at < json.size() && json[at] != '"'; ++at) {
    if (json[at] == '\\') ++at;
  }
  return at + 1;
}

/// Exact for JSON; for other texts any answer will do, since the parser refuses them.
bool nestsTooDeep(std::string_view json) {
  std::size_t depth = 0;
  for (std::size_t at = 0; at < json.size();) {
    const char mark = json[at];
    if (mark == '"') {
      at = behindText(json, at);
      continue;
    }
    if ((mark == '[' || mark == '{') && ++depth > depthLimit) return true;
    if ((mark == ']' || mark == '}') && depth > 0) --depth;
    ++at;
  }
  return false;
}

template <typename AnyJson>
std::string dump(const AnyJson& value, int indent) {
  return value.dump(indent, ' ', false, AnyJson::error_handler_t::replace);
}

}  // namespace

std::optional<Json> parse(std::string_view text) {
  // The library's lexer takes a NUL byte for the end of the input.
  if (text.find('\0') != std::string_view::npos || nestsTooDeep(text)) return std::nullopt;
  Json value = Json::parse(text.begin(), text.end(), nullptr, false);
  if (value.is_discarded()) return std::nullopt;
  return value;
}

std::optional<Json> parseObject(std::string_view text) {
  auto value = parse(text);
  if (value && !value->is_object()) return std::nullopt;
  return value;
}

std::optional<std::map<std::string, std::string>> parseTexts(std::string_view text) {
  auto object = parseObject(text);
  if (!object) return std::nullopt;
  std::map<std::string, std::string> texts;
  for (auto& [key, value] : object->items()) {
    if (!value.is_string()) return std::nullopt;
    texts.emplace(key, std::move(value.get_ref<std::string&>()));
  }
  return texts;
}

std::string write(const Json& value) { return dump(value, -1); }
std::string write(const OrderedJson& value) { return dump(value, -1); }
std::string writePretty(const Json& value) { return dump(value, 2); }

}  // namespace JsonText
