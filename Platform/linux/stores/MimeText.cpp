#include "Platform/linux/stores/MimeText.h"

#include <glib.h>
#include <unicode/ucnv.h>
#include <unicode/ucnv_cb.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>
#include <optional>
#include <utility>

#include "Platform/Text.h"

namespace {

using std::string_view;

// ---- Charsets.

struct Alias {
  string_view name;
  const char* meant;
};
/// What programs write under a name is often the larger set that contains it (the WHATWG's encoding standard).
constexpr std::array<Alias, 15> aliases = {{{"iso-8859-1", "windows-1252"},
                                            {"iso8859-1", "windows-1252"},
                                            {"iso_8859-1", "windows-1252"},
                                            {"latin1", "windows-1252"},
                                            {"iso-8859-9", "windows-1254"},
                                            {"gb2312", "gb18030"},
                                            {"gb_2312-80", "gb18030"},
                                            {"gbk", "gb18030"},
                                            {"euc-kr", "windows-949"},
                                            {"ks_c_5601-1987", "windows-949"},
                                            {"shift_jis", "windows-31j"},
                                            {"shift-jis", "windows-31j"},
                                            {"sjis", "windows-31j"},
                                            {"x-sjis", "windows-31j"},
                                            {"iso-8859-8-i", "iso-8859-8"}}};

struct ConverterClose {
  void operator()(UConverter* converter) const { ucnv_close(converter); }
};
using Converter = std::unique_ptr<UConverter, ConverterClose>;

/// ICU's own callback writes U+001A for some bytes of one-byte charsets.
void replaceByMark(const void*, UConverterToUnicodeArgs* arguments, const char*, int32_t,
                   UConverterCallbackReason reason, UErrorCode* error) {
  if (reason > UCNV_IRREGULAR) return;  // reset, close, clone
  *error = U_ZERO_ERROR;
  const UChar mark = 0xFFFD;
  ucnv_cbToUWriteUChars(arguments, &mark, 1, 0, error);
}

bool isPlainName(string_view name) {
  return !name.empty() && name.size() < 40 && std::all_of(name.begin(), name.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '_' || c == '.' || c == ':' || c == '+';
  });
}

/// Null for a charset that nobody knows.
Converter converterFrom(const std::string& charset) {
  if (!isPlainName(charset)) return nullptr;  // ICU reads options behind a comma, and looks for files
  const auto alias = std::find_if(aliases.begin(), aliases.end(), [&](const auto& a) { return a.name == charset; });
  UErrorCode error = U_ZERO_ERROR;
  Converter converter(ucnv_open(alias == aliases.end() ? charset.c_str() : alias->meant, &error));
  if (converter) ucnv_setToUCallBack(converter.get(), replaceByMark, nullptr, nullptr, nullptr, &error);
  return U_SUCCESS(error) ? std::move(converter) : nullptr;
}

/// In pieces, since ICU counts with 32 bits and a text in UTF-16 would double our memory.
std::string converted(string_view bytes, UConverter& from) {
  UErrorCode error = U_ZERO_ERROR;
  const Converter to(ucnv_open("UTF-8", &error));
  std::string result;
  std::array<char, 8192> piece;
  std::array<UChar, 2048> pivot;
  UChar* pivotSource = pivot.data();
  UChar* pivotTarget = pivot.data();
  const char* source = bytes.data();
  UBool isFirst = 1;
  do {
    error = U_ZERO_ERROR;
    char* target = piece.data();
    ucnv_convertEx(to.get(), &from, &target, piece.data() + piece.size(), &source, bytes.data() + bytes.size(),
                   pivot.data(), &pivotSource, &pivotTarget, pivot.data() + pivot.size(), isFirst, true, &error);
    result.append(piece.data(), target);
    isFirst = 0;
  } while (error == U_BUFFER_OVERFLOW_ERROR);
  return result;
}

// ---- Encoded words.

std::string decodedQ(string_view text) {
  std::string bytes;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const int high = at + 2 < text.size() ? g_ascii_xdigit_value(text[at + 1]) : -1;
    const int low = high >= 0 ? g_ascii_xdigit_value(text[at + 2]) : -1;
    if (text[at] == '=' && low >= 0) {
      bytes += static_cast<char>(high * 16 + low);
      at += 2;
    } else {
      bytes += text[at] == '_' ? ' ' : text[at];
    }
  }
  return bytes;
}

std::string decodedB(string_view text) {
  std::string bytes(text.size() / 4 * 3 + 3, '\0');
  gint state = 0;
  guint save = 0;
  auto* out = reinterpret_cast<guchar*>(bytes.data());
  auto size = g_base64_decode_step(text.data(), text.size(), out, &state, &save);
  if (state % 4 != 0 && text.find('=') == string_view::npos)  // no padding: the last bytes still wait for it
    size += g_base64_decode_step("===", 4U - static_cast<unsigned>(std::abs(state)), out + size, &state, &save);
  bytes.resize(size);
  return bytes;
}

struct EncodedWord {
  std::string charset;
  std::string bytes;
  std::size_t size = 0;  // of the word as it stands
};

/// Where the text of an encoded word ends, at its "?="; npos when another word begins before. "==?=" is base64's
/// padding and an end, no beginning.
std::size_t endOfWord(string_view raw, std::size_t at) {
  for (;; ++at) {
    at = raw.find_first_of("?=", at);
    if (at == string_view::npos || at + 1 >= raw.size()) return string_view::npos;
    if (raw.substr(at, 2) == "?=") return at;
    if (raw.substr(at, 2) == "=?" && raw.substr(at, 3) != "=?=") return string_view::npos;
  }
}

/// The word "=?charset*language?Q?text?=" that `raw` begins with.
std::optional<EncodedWord> encodedWord(string_view raw) {
  constexpr std::size_t longestCharset = 60;
  const auto nameEnd = raw.substr(0, longestCharset).find('?', 2);
  if (nameEnd == string_view::npos || nameEnd + 3 > raw.size() || raw[nameEnd + 2] != '?') return std::nullopt;
  const char encoding = Mime::asciiLower(raw[nameEnd + 1]);
  if (encoding != 'q' && encoding != 'b') return std::nullopt;
  const auto end = endOfWord(raw, nameEnd + 3);
  if (end == string_view::npos) return std::nullopt;
  const auto text = raw.substr(nameEnd + 3, end - nameEnd - 3);
  const auto name = raw.substr(2, nameEnd - 2);
  return EncodedWord{.charset = Mime::asciiLowercase(name.substr(0, name.find('*'))),
                     .bytes = encoding == 'q' ? decodedQ(text) : decodedB(text),
                     .size = end + 2};
}

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }
bool isAllSpace(string_view text) { return std::all_of(text.begin(), text.end(), isSpace); }

/// The length of the white space or control character at `at`; 0 for any other.
std::size_t blankLength(string_view text, std::size_t at) {
  const auto c = static_cast<unsigned char>(text[at]);
  if (c <= 0x20 || c == 0x7F) return 1;
  const auto next = at + 1 < text.size() ? static_cast<unsigned char>(text[at + 1]) : 0;
  if (c == 0xC2 && next >= 0x80 && next < 0xA0) return 2;  // U+0080 to U+009F
  const auto three = text.substr(at, 3);
  return three == "\u2028" || three == "\u2029" ? 3 : 0;
}

}  // namespace

char Mime::asciiLower(char letter) noexcept {
  return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter + ('a' - 'A')) : letter;
}

std::string Mime::asciiLowercase(string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(), asciiLower);
  return result;
}

bool Mime::equalIgnoringAsciiCase(string_view a, string_view b) noexcept {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return asciiLower(x) == asciiLower(y); });
}

string_view Mime::trimSpace(string_view text) noexcept {
  while (!text.empty() && isSpace(text.front())) text.remove_prefix(1);
  while (!text.empty() && isSpace(text.back())) text.remove_suffix(1);
  return text;
}

std::string Mime::toUTF8(std::string bytes, string_view charset) {
  const auto name = asciiLowercase(trimSpace(charset));
  if (name == "utf-8" || name == "utf8") return Text::repairUTF8(std::move(bytes));
  const bool isUnsaid = name.empty() || name == "us-ascii" || name == "ascii";
  if (isUnsaid && Text::isValidUTF8(bytes)) return bytes;
  const auto converter = converterFrom(isUnsaid ? "windows-1252" : name);
  return converter ? converted(bytes, *converter) : Text::repairUTF8(std::move(bytes));
}

std::string Mime::decodedWords(string_view raw) {
  std::string text;
  EncodedWord open;  // words in one charset that follow each other, joined: a character may be split between them
  const auto close = [&] {
    text += toUTF8(std::move(open.bytes), open.charset);
    open = {};
  };
  std::size_t literal = 0;  // where the unencoded text before `at` begins
  for (std::size_t at = 0; (at = raw.find("=?", at)) != string_view::npos;) {
    auto word = encodedWord(raw.substr(at));
    if (!word) {
      at += 2;
      continue;
    }
    const auto between = raw.substr(literal, at - literal);
    const bool follows = open.size > 0 && isAllSpace(between);
    if (!follows || open.charset != word->charset) close();
    if (!follows) text += toUTF8(std::string(between), "");
    open.charset = word->charset;
    open.bytes += word->bytes;
    open.size = word->size;
    at += word->size;
    literal = at;
  }
  close();
  return text + toUTF8(std::string(raw.substr(literal)), "");
}

std::string Mime::onOneLine(string_view text) {
  std::string line;
  bool isBlankDue = false;
  for (std::size_t at = 0; at < text.size();) {
    if (const auto blank = blankLength(text, at)) {
      isBlankDue = !line.empty();
      at += blank;
      continue;
    }
    if (std::exchange(isBlankDue, false)) line += ' ';
    line += text[at++];
  }
  return line;
}
