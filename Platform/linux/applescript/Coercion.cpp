// Conversions between values, and the forms in which values are written.
#include "Platform/linux/applescript/Coercion.h"

#include <fmt/format.h>

#include <cctype>
#include <cmath>
#include <optional>

#include "Platform/Files.h"
#include "Platform/Text.h"
#include "Platform/linux/applescript/Application.h"
#include "Platform/linux/applescript/DateForms.h"
#include "Platform/linux/applescript/References.h"
#include "Platform/linux/applescript/Stack.h"

namespace AppleScript {
namespace {

[[noreturn]] void cannotMake(const Value& value, std::string_view type) {
  throw ScriptError(ErrorNumber::cannotCoerce,
                    "Can’t make " + sourceForm(value) + " into type " + std::string(type) + ".");
}

// Twelve digits, and an exponent from 10000 on and below a thousandth: 0.5, 12.0, 1.5E+6.
std::string realText(double number) {
  if (std::isnan(number)) return "NAN";
  if (std::isinf(number)) return number < 0 ? "-INF" : "INF";
  const double size = std::fabs(number);
  if (size == 0 || (size >= 0.001 && size < 10000)) {
    std::string text = fmt::format("{:.12g}", number);
    return text.find_first_of(".e") == std::string::npos ? text + ".0" : text;
  }
  const std::string text = fmt::format("{:.11e}", number);
  const std::size_t mark = text.find('e');
  std::string digits = text.substr(0, text.find_last_not_of('0', mark - 1) + 1);
  if (digits.back() == '.') digits += '0';
  return fmt::format("{}E{:+}", digits, std::stoi(text.substr(mark + 1)));
}

std::string numberText(const Value& value) {
  if (auto integer = value.as<std::int64_t>()) return std::to_string(*integer);
  return realText(*value.as<double>());
}

std::string quotedText(std::string_view text) {
  std::string result = "\"";
  for (char c : text) {
    if (c == '"' || c == '\\') result += '\\';
    result += c;
  }
  return result + "\"";
}

bool isPlainLabel(std::string_view label) {
  if (label.empty() || (label[0] >= '0' && label[0] <= '9')) return false;
  for (char c : label)
    if (!std::isalnum(static_cast<unsigned char>(c)) && c != '_' && c != ' ') return false;
  return true;
}

std::string objectForm(Object& object) {
  if (dynamic_cast<Application*>(&object)) return object.specifier();
  return object.specifier() + " of " + object.application().specifier();
}

// Writes values for people: as source with braces and quotes, or as osascript prints a result.
class Writer {
 public:
  explicit Writer(bool source) : source_(source) {}

  void write(const Value& value) {
    checkStack();
    if (auto list = value.list()) return writeList(*list);
    if (auto record = value.record()) return writeRecord(*record);
    if (auto reference = value.as<std::shared_ptr<const Reference>>()) return writeReference(**reference);
    text += leaf(value);
  }

  std::string text;

 private:
  void writeList(const List& list) {
    open();
    for (std::size_t i = 0; i < list.size(); ++i) {
      if (i > 0) text += ", ";
      write(list[i]);
    }
    close();
  }

  void writeRecord(const Record& record) {
    open();
    for (std::size_t i = 0; i < record.size(); ++i) {
      if (i > 0) text += ", ";
      text += source_ && !isPlainLabel(record[i].first) ? "|" + record[i].first + "|" : record[i].first;
      text += ':';
      write(record[i].second);
    }
    close();
  }

  void writeReference(const Reference& reference) {
    if (reference.item > 0)
      text += "item " + std::to_string(reference.item);
    else
      text += reference.selector.shown;
    text += " of ";
    write(reference.base);
  }

  std::string leaf(const Value& value) const {
    if (auto string = value.text()) return source_ ? quotedText(*string) : *string;
    if (isNumber(value)) return numberText(value);
    if (auto truth = value.as<bool>()) return *truth ? "true" : "false";
    if (value.isMissing()) return "missing value";
    if (auto date = value.date()) return source_ ? "date \"" + longText(*date) + "\"" : "date " + longText(*date);
    if (auto type = value.as<TypeName>()) return type->name;
    if (auto constant = value.as<Constant>()) return constant->name;
    if (auto file = value.as<File>()) return fileForm(*file);
    if (auto object = value.object()) return objectForm(*object);
    if (value.as<std::shared_ptr<Script>>()) return "«script»";
    if (auto place = value.as<std::shared_ptr<const Insertion>>()) return insertionForm(**place);
    return "";
  }

  std::string fileForm(const File& file) const {
    const std::string kind = file.alias ? "alias " : "POSIX file ";
    return source_ ? kind + quotedText(file.path) : (file.alias ? kind : "file ") + file.path;
  }

  static std::string insertionForm(const Insertion& insertion) {
    static constexpr const char* places[] = {"beginning of ", "end of ", "before ", "after "};
    const ObjectPtr& object = insertion.sibling ? insertion.sibling : insertion.container;
    return places[static_cast<int>(insertion.place)] + (object ? object->specifier() : insertion.elementClass);
  }

  void open() {
    if (source_) text += '{';
  }
  void close() {
    if (source_) text += '}';
  }

  bool source_;
};

void appendText(std::string& out, const Value& value, std::string_view delimiter) {
  checkStack();
  if (auto list = value.list()) {
    for (std::size_t i = 0; i < list->size(); ++i) {
      if (i > 0) out += delimiter;
      appendText(out, (*list)[i], delimiter);
    }
    return;
  }
  if (auto text = value.text())
    out += *text;
  else if (value.as<std::shared_ptr<const Reference>>())
    appendText(out, resolved(value), delimiter);
  else if (auto date = value.date())
    out += longText(*date);
  else if (auto file = value.as<File>())
    out += file->path;
  else if (isNumber(value) || value.as<bool>() || value.isMissing() || value.as<TypeName>() || value.as<Constant>())
    out += sourceForm(value);
  else if (Value plain = value.object() ? plainValueOf(value.object()) : Value(); !plain.isNothing())
    appendText(out, plain, delimiter);
  else
    cannotMake(value, "text");
}

std::optional<double> numberOf(const Value& value) {
  if (auto integer = value.as<std::int64_t>()) return static_cast<double>(*integer);
  if (auto real = value.as<double>()) return *real;
  if (auto truth = value.as<bool>()) return *truth ? 1 : 0;
  if (auto text = value.text()) return Text::parseReal(Text::trim(*text));
  if (auto constant = value.as<Constant>())
    if (const int month = monthNumber(constant->name)) return month;
  if (auto list = value.list(); list && list->size() == 1) {
    checkStack();
    return numberOf(resolved(list->front()));
  }
  return std::nullopt;
}

Value asNumber(const Value& value) {
  if (isNumber(value)) return value;
  const auto number = numberOf(value);
  if (!number) cannotMake(value, "number");
  if (auto text = value.text(); text && text->find_first_of(".eE") != std::string::npos) return *number;
  return std::fabs(*number) <= largestInteger ? Value(static_cast<std::int64_t>(*number)) : Value(*number);
}

Value asList(const Value& value) {
  if (value.list()) return value;
  if (auto record = value.record()) {
    List values;
    for (const auto& field : *record) values.push_back(field.second);
    return values;
  }
  return List{value};
}

Value asFile(const Value& value, bool alias) {
  const auto file = value.as<File>();
  const auto text = value.text();
  if (!file && !text) cannotMake(value, alias ? "alias" : "file");
  const std::string path = file ? file->path : *text;
  if (alias && !Files::exists(path)) throw ScriptError(ErrorNumber::fileNotFound, "File " + path + " wasn’t found.");
  return File{path, alias};
}

}  // namespace

bool isNumber(const Value& value) { return value.as<std::int64_t>() || value.as<double>(); }

std::string asText(const Value& value, std::string_view delimiter) {
  std::string text;
  appendText(text, value, delimiter);
  return text;
}

std::int64_t asInteger(const Value& value) {
  const Value plain = resolved(value);
  if (auto integer = plain.as<std::int64_t>()) return *integer;
  const auto number = numberOf(plain);
  if (!number || std::fabs(*number) > 9e18) cannotMake(plain, "integer");
  return static_cast<std::int64_t>(std::nearbyint(*number));
}

double asReal(const Value& value) {
  const Value plain = resolved(value);
  const auto number = numberOf(plain);
  if (!number) cannotMake(plain, "real");
  return *number;
}

bool asBoolean(const Value& value) {
  const Value plain = resolved(value);
  if (auto truth = plain.as<bool>()) return *truth;
  if (auto text = plain.text()) {
    if (Text::equalIgnoringCase(*text, "true")) return true;
    if (Text::equalIgnoringCase(*text, "false")) return false;
  }
  if (auto integer = plain.as<std::int64_t>(); integer && (*integer == 0 || *integer == 1)) return *integer == 1;
  cannotMake(plain, "boolean");
}

Date asDate(const Value& value) {
  const Value plain = resolved(value);
  if (auto date = plain.date()) return *date;
  if (auto text = plain.text())
    if (const auto date = parseDate(*text)) return *date;
  cannotMake(plain, "date");
}

Value coerced(const Value& value, std::string_view type, std::string_view delimiter) {
  const Value plain = resolved(value);
  if (type == "text") return plain.text() ? plain : Value(asText(plain, delimiter));
  if (type == "integer") return asInteger(plain);
  if (type == "real") return asReal(plain);
  if (type == "number") return asNumber(plain);
  if (type == "boolean") return asBoolean(plain);
  if (type == "date") return plain.date() ? plain : Value(asDate(plain));
  if (type == "list") return asList(plain);
  if (type == "alias") return asFile(plain, true);
  if (type == "file" || type == "POSIX file") return asFile(plain, false);
  if (!isOfClass(plain, type)) cannotMake(plain, type);
  return plain;
}

std::string sourceForm(const Value& value) {
  Writer writer(true);
  writer.write(value);
  return std::move(writer.text);
}

std::string resultForm(const Value& value) {
  Writer writer(false);
  writer.write(value);
  return std::move(writer.text);
}

}  // namespace AppleScript
