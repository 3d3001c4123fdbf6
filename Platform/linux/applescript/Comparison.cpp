// When are two values equal, and when does one contain the other? Texts are compared by keys, which
// leave out what the script doesn't want considered.
#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <algorithm>

#include "Platform/Text.h"
#include "Platform/linux/applescript/Application.h"
#include "Platform/linux/applescript/Coercion.h"
#include "Platform/linux/applescript/References.h"
#include "Platform/linux/applescript/Stack.h"

namespace AppleScript {
namespace {

bool isASCII(std::string_view text) {
  return std::none_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) >= 0x80; });
}

bool isDefault(const Attention& attention) {
  return !attention.letterCase && attention.diacriticals && attention.hyphens && attention.punctuation &&
         attention.whiteSpace && !attention.numericStrings;
}

char lowered(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

std::string loweredASCII(std::string_view text) {
  std::string key(text.size(), '\0');
  std::transform(text.begin(), text.end(), key.begin(), lowered);
  return key;
}

bool isLeftOut(UChar32 c, const Attention& attention) {
  const bool hyphen = c == '-' || u_hasBinaryProperty(c, UCHAR_DASH) || c == 0xAD;
  if (hyphen) return !attention.hyphens || !attention.punctuation;
  if (!attention.diacriticals && u_charType(c) == U_NON_SPACING_MARK) return true;
  if (!attention.punctuation && u_ispunct(c)) return true;
  return !attention.whiteSpace && u_isUWhiteSpace(c);
}

// Digits in a row become their count and themselves, so that "9" precedes "10".
std::string withCountedDigits(std::string_view text) {
  std::string key;
  for (std::size_t at = 0; at < text.size();) {
    std::size_t end = at;
    while (end < text.size() && text[end] >= '0' && text[end] <= '9') ++end;
    if (end == at) {
      key += text[at++];
      continue;
    }
    while (at + 1 < end && text[at] == '0') ++at;
    key += static_cast<char>('0' + std::min<std::size_t>(end - at, 70));
    key += text.substr(at, end - at);
    at = end;
  }
  return key;
}

std::string reduced(std::string_view text, const Attention& attention) {
  UErrorCode status = U_ZERO_ERROR;
  const auto* decompose = icu::Normalizer2::getNFDInstance(status);
  const icu::UnicodeString whole = decompose->normalize(
      icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<int32_t>(text.size()))), status);
  icu::UnicodeString kept;
  for (int32_t at = 0; at < whole.length(); at = whole.moveIndex32(at, 1))
    if (const UChar32 c = whole.char32At(at); !isLeftOut(c, attention)) kept.append(c);
  std::string result;
  kept.toUTF8String(result);
  return result;
}

bool equalTexts(const std::string& a, const std::string& b, const Attention& attention) {
  if (isDefault(attention) && isASCII(a) && isASCII(b))
    return a.size() == b.size() &&
           std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) { return lowered(x) == lowered(y); });
  return comparisonKey(a, attention) == comparisonKey(b, attention);
}

bool equalLists(const List& a, const List& b, const Attention& attention) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(),
                                            [&](const Value& x, const Value& y) { return equal(x, y, attention); });
}

const Value* field(const Record& record, std::string_view label) {
  for (const auto& [name, value] : record)
    if (name == label) return &value;
  return nullptr;
}

bool includes(const Record& whole, const Record& part, const Attention& attention) {
  return std::all_of(part.begin(), part.end(), [&](const auto& entry) {
    const Value* value = field(whole, entry.first);
    return value && equal(*value, entry.second, attention);
  });
}

bool equalReferences(const Reference& a, const Reference& b) {
  return a.base.list() && a.base.list() == b.base.list() && a.item == b.item && a.item > 0;
}

// A run of the whole that equals the part: {1, 2, 3} contains {2, 3}.
bool containsRun(const List& whole, const List& part, const Attention& attention) {
  if (part.size() > whole.size()) return false;
  for (std::size_t at = 0; at + part.size() <= whole.size(); ++at)
    if (std::equal(part.begin(), part.end(), whole.begin() + static_cast<std::ptrdiff_t>(at),
                   [&](const Value& x, const Value& y) { return equal(resolved(y), resolved(x), attention); }))
      return true;
  return false;
}

}  // namespace

std::string comparisonKey(std::string_view text, const Attention& attention) {
  if (isDefault(attention)) return isASCII(text) ? loweredASCII(text) : Text::folded(text);
  std::string key = attention.diacriticals && attention.hyphens && attention.punctuation && attention.whiteSpace
                        ? std::string(text)
                        : reduced(text, attention);
  key = attention.letterCase ? Text::composed(key) : Text::folded(key);
  return attention.numericStrings ? withCountedDigits(key) : key;
}

bool equal(const Value& a, const Value& b, const Attention& attention) {
  checkStack();
  if (isNumber(a) && isNumber(b)) return asReal(a) == asReal(b);
  if (a.storage().index() != b.storage().index()) return false;
  if (auto text = a.text()) return equalTexts(*text, *b.text(), attention);
  if (auto truth = a.as<bool>()) return *truth == *b.as<bool>();
  if (auto date = a.date()) return date->seconds == b.date()->seconds;
  if (auto list = a.list()) return equalLists(*list, *b.list(), attention);
  if (auto record = a.record())
    return record->size() == b.record()->size() && includes(*record, *b.record(), attention);
  if (auto type = a.as<TypeName>()) return type->name == b.as<TypeName>()->name;
  if (auto constant = a.as<Constant>()) return constant->name == b.as<Constant>()->name;
  if (auto file = a.as<File>()) return file->path == b.as<File>()->path;
  if (auto object = a.object()) return object->same(*b.object());
  if (auto reference = a.as<std::shared_ptr<const Reference>>())
    return equalReferences(**reference, **b.as<std::shared_ptr<const Reference>>());
  if (auto script = a.as<std::shared_ptr<Script>>()) return *script == *b.as<std::shared_ptr<Script>>();
  return a.isMissing() || a.isNothing();
}

bool contains(const Value& whole, const Value& part, const Attention& attention) {
  const Value left = resolved(whole);
  const Value right = resolved(part);
  if (auto list = left.list()) return containsRun(*list, right.list() ? *right.list() : List{right}, attention);
  if (auto record = left.record(); record && right.record()) return includes(*record, *right.record(), attention);
  return comparisonKey(asText(left), attention).find(comparisonKey(asText(right), attention)) != std::string::npos;
}

}  // namespace AppleScript
