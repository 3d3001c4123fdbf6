#include "Platform/linux/stores/MimeCompose.h"

#include <fmt/format.h>
#include <gmime/gmime.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <memory>

#include "Platform/Error.h"
#include "Platform/Text.h"
#include "Platform/Uuid.h"
#include "Platform/linux/stores/MimeInit.h"
#include "Platform/linux/stores/MimeText.h"

namespace {

using std::string_view;

bool isAscii(string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

std::string base64(string_view bytes) {
  const std::unique_ptr<char, decltype(&g_free)> text(
      g_base64_encode(reinterpret_cast<const guchar*>(bytes.data()), bytes.size()), g_free);
  return text.get();
}

/// In lines of 76.
std::string base64Lines(string_view bytes) {
  constexpr std::size_t bytesOfLine = 57;
  std::string lines;
  for (; !bytes.empty(); bytes.remove_prefix(std::min(bytes.size(), bytesOfLine)))
    lines += base64(bytes.substr(0, bytesOfLine)) + '\n';
  return lines;
}

// ---- Header lines.

/// What a header says in words, as words between which a line may be folded.
using Words = std::vector<std::string>;

/// Encoded words (RFC 2047), each with whole characters.
Words encodedWords(string_view text) {
  constexpr std::size_t bytesOfWord = 45;  // 60 in base64, and 12 around them: 75 are allowed
  Words words;
  while (!text.empty()) {
    auto size = std::min(text.size(), bytesOfWord);
    while (size < text.size() && (static_cast<unsigned char>(text[size]) & 0xC0) == 0x80) --size;
    words.push_back("=?UTF-8?B?" + base64(text.substr(0, size)) + "?=");
    text.remove_prefix(size);
  }
  return words;
}

constexpr std::size_t longestWord = 200;  // a longer one makes a line that some servers cut

bool fitsUnencoded(string_view text, const Words& words) {
  return isAscii(text) && text.find("=?") == string_view::npos &&
         std::all_of(words.begin(), words.end(), [](const auto& word) { return word.size() <= longestWord; });
}

Words textWords(const std::string& value) {
  const auto text = Mime::onOneLine(Text::repairUTF8(value));
  auto words = Text::split(text, ' ', true);
  return fitsUnencoded(text, words) ? words : encodedWords(text);
}

Words addressWords(const Mime::Address& address) {
  const auto name = Mime::onOneLine(Text::repairUTF8(address.name));
  auto words = Text::split(Mime::display({.name = name, .address = address.address}), ' ', true);
  if (name.empty() || fitsUnencoded(name, words)) return words;
  words = encodedWords(name);  // also a plain one, whose marks would need quotes
  words.push_back('<' + address.address + '>');
  return words;
}

Words addressListWords(const std::vector<Mime::Address>& addresses) {
  Words words;
  for (const auto& address : addresses) {
    if (!words.empty()) words.back() += ',';
    const auto more = addressWords(address);
    words.insert(words.end(), more.begin(), more.end());
  }
  return words;
}

/// Folded before words so that lines stay within 78 characters where words do.
std::string field(string_view name, const Words& words) {
  constexpr std::size_t longestLine = 78;
  if (words.empty()) return "";
  std::string text = fmt::format("{}:", name);
  std::size_t lineSize = text.size();
  for (const auto& word : words) {
    const bool folds = lineSize > name.size() + 1 && lineSize + 1 + word.size() > longestLine;
    text += folds ? "\n " : " ";
    text += word;
    lineSize = (folds ? 0 : lineSize) + 1 + word.size();
  }
  return text + '\n';
}

// ---- Values.

void checkAddresses(string_view what, const std::vector<Mime::Address>& addresses) {
  for (const auto& one : addresses)
    if (!Mime::isAddress(one.address))
      throw Error(fmt::format("{} \"{}\" is no mail address; nothing was written or sent", what,
                              Mime::onOneLine(Text::repairUTF8(one.address.empty() ? one.name : one.address))));
}

/// "Fri, 13 Mar 2026 10:00:00 +0100", in the local zone.
std::string dateText(Dates::Instant instant) {
  using namespace std::chrono;
  constexpr std::array<string_view, 7> days = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  constexpr std::array<string_view, 12> months = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                  "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  const auto local = Dates::local(instant);
  const sys_days day = year{local.year} / local.month / local.day;
  const auto wall = day + hours(local.hour) + minutes(local.minute) + seconds(local.second);
  const auto offset = duration_cast<minutes>(wall - floor<seconds>(instant)).count();
  return fmt::format("{}, {} {} {} {:02}:{:02}:{:02} {}{:02}{:02}", days[weekday(day).c_encoding()], local.day,
                     months[static_cast<std::size_t>(local.month - 1)], local.year, local.hour, local.minute,
                     local.second, offset < 0 ? '-' : '+', std::abs(offset) / 60, std::abs(offset) % 60);
}

/// Without the ids that are empty, or too long for a line.
Words idWords(const std::vector<std::string>& ids) {
  constexpr std::size_t longestID = 900;
  Words words;
  for (const auto& id : ids) {
    auto plain = Mime::onOneLine(Text::repairUTF8(id));
    std::erase_if(plain, [](char c) { return c == ' ' || c == '<' || c == '>'; });
    if (!plain.empty() && plain.size() <= longestID) words.push_back('<' + plain + '>');
  }
  return words;
}

/// The first ones lead to the thread's beginning, the last ones to what is answered.
Words referenceWords(const std::vector<std::string>& references) {
  constexpr std::ptrdiff_t most = 50, kept = 10;
  auto words = idWords(references);
  if (std::ssize(words) > most) words.erase(words.begin() + kept, words.end() - (most - kept));
  return words;
}

// ---- Bodies.

/// LF for any line break, and one at the end.
std::string bodyText(const std::string& text) {
  auto body = Text::replaceAll(Text::replaceAll(Text::repairUTF8(text), "\r\n", "\n"), "\r", "\n");
  if (!body.empty() && !body.ends_with('\n')) body += '\n';
  return body;
}

bool hasLongLine(string_view body) {
  constexpr std::size_t longest = 900;  // SMTP takes 998
  for (std::size_t begin = 0; begin < body.size();) {
    const auto end = std::min(body.find('\n', begin), body.size());
    if (end - begin > longest) return true;
    begin = end + 1;
  }
  return false;
}

std::string quotedPrintable(string_view body) {
  std::string lines;
  std::size_t column = 0;
  for (std::size_t at = 0; at < body.size(); ++at) {
    const char c = body[at];
    if (c == '\n') {
      lines += c;
      column = 0;
      continue;
    }
    const bool isLast = at + 1 == body.size() || body[at + 1] == '\n';
    const bool isPlain = (c > ' ' && c < 0x7F && c != '=') || (c == ' ' && !isLast);
    const auto piece = isPlain ? std::string(1, c) : fmt::format("={:02X}", static_cast<unsigned char>(c));
    if (column + piece.size() > 75) {
      lines += "=\n";
      column = 0;
    }
    lines += piece;
    column += piece.size();
  }
  return lines;
}

std::string textPart(const std::string& text) {
  const auto body = bodyText(text);
  const auto foreign =
      std::count_if(body.begin(), body.end(), [](char c) { return static_cast<unsigned char>(c) >= 0x80; });
  const bool isPlain = foreign == 0 && !hasLongLine(body) && body.find('\0') == std::string::npos;
  const bool isMostlyForeign = foreign * 3 > std::ssize(body);  // then base64 is shorter
  return fmt::format("Content-Type: text/plain; charset=utf-8\nContent-Transfer-Encoding: {}\n\n{}",
                     isPlain           ? "7bit"
                     : isMostlyForeign ? "base64"
                                       : "quoted-printable",
                     isPlain           ? body
                     : isMostlyForeign ? base64Lines(body)
                                       : quotedPrintable(body));
}

struct KnownType {
  string_view extension, type;
};
constexpr std::array<KnownType, 24> knownTypes = {{
    {"csv", "text/csv"},          {"doc", "application/msword"},
    {"gif", "image/gif"},         {"gz", "application/gzip"},
    {"heic", "image/heic"},       {"htm", "text/html"},
    {"html", "text/html"},        {"ics", "text/calendar"},
    {"jpeg", "image/jpeg"},       {"jpg", "image/jpeg"},
    {"json", "application/json"}, {"md", "text/markdown"},
    {"mp3", "audio/mpeg"},        {"mp4", "video/mp4"},
    {"pdf", "application/pdf"},   {"png", "image/png"},
    {"rtf", "application/rtf"},   {"svg", "image/svg+xml"},
    {"txt", "text/plain"},        {"vcf", "text/vcard"},
    {"webp", "image/webp"},       {"xls", "application/vnd.ms-excel"},
    {"xml", "application/xml"},   {"zip", "application/zip"},
}};

bool isType(string_view type) {
  const auto slash = type.find('/');
  return slash != string_view::npos && slash > 0 && slash + 1 < type.size() && type.size() < 100 &&
         std::all_of(type.begin(), type.end(),
                     [](char c) { return g_ascii_isalnum(c) || string_view("/.+-_").find(c) != string_view::npos; }) &&
         type.find('/', slash + 1) == string_view::npos;
}

/// A table of our own: the system's may be missing, and the same file is to leave alike from every machine.
std::string typeOf(const Mime::Outgoing::File& file) {
  constexpr string_view unknown = "application/octet-stream";
  const auto extension = Mime::asciiLowercase(file.name.substr(file.name.rfind('.') + 1));
  const auto known =
      std::find_if(knownTypes.begin(), knownTypes.end(), [&](const auto& k) { return k.extension == extension; });
  std::string type = Mime::asciiLowercase(file.type);
  if (type.empty() && known != knownTypes.end()) type = known->type;
  // Messages and multiparts mustn't be in base64 (RFC 2046).
  if (!isType(type) || type.starts_with("message/") || type.starts_with("multipart/")) return std::string(unknown);
  if (!type.starts_with("text/")) return type;
  if (Text::isValidUTF8(file.bytes)) return type + "; charset=utf-8";
  return isType("text/" + file.charset) ? type + "; charset=" + file.charset : type;
}

/// The whole line, with the file's name as RFC 2231 has it.
std::string dispositionLine(const std::string& fileName) {
  Mime::initializeGMime();
  const auto name = Mime::onOneLine(Text::repairUTF8(fileName));
  GMimeContentDisposition* value = g_mime_content_disposition_new();
  g_mime_content_disposition_set_disposition(value, "attachment");
  if (!name.empty()) {
    g_mime_content_disposition_set_parameter(value, "filename", name.c_str());
    auto* parameter = g_mime_param_list_get_parameter(g_mime_content_disposition_get_parameters(value), "filename");
    g_mime_param_set_charset(parameter, "utf-8");
    g_mime_param_set_encoding_method(parameter, GMIME_PARAM_ENCODING_METHOD_RFC2231);
  }
  const std::unique_ptr<char, decltype(&g_free)> text(g_mime_content_disposition_encode(value, nullptr), g_free);
  g_object_unref(value);
  return "Content-Disposition:" + std::string(text.get());  // GMime gives the blank before it and the line break
}

std::string attachmentPart(const Mime::Outgoing::File& file) {
  return fmt::format("Content-Type: {}\n{}Content-Transfer-Encoding: base64\n\n{}", typeOf(file),
                     dispositionLine(file.name), base64Lines(file.bytes));
}

std::string body(const Mime::Outgoing& message) {
  if (message.attachments.empty()) return textPart(message.text);
  const auto boundary = "=_" + Uuid::random();  // nobody can know it, so no text can hold it
  auto parts =
      fmt::format("Content-Type: multipart/mixed; boundary=\"{0}\"\n\n--{0}\n{1}", boundary, textPart(message.text));
  for (const auto& file : message.attachments) parts += fmt::format("\n--{}\n{}", boundary, attachmentPart(file));
  return parts + fmt::format("\n--{}--\n", boundary);
}

}  // namespace

std::string Mime::newMessageID(const Address& from) {
  auto domain = from.address.substr(std::min(from.address.rfind('@'), from.address.size() - 1) + 1);
  const bool isPlain = !domain.empty() && std::all_of(domain.begin(), domain.end(), [](char c) {
    return g_ascii_isalnum(c) || c == '.' || c == '-';
  });
  return asciiLowercase(Uuid::random()) + '@' + (isPlain ? domain : "localhost");
}

std::string Mime::compose(const Outgoing& message) {
  checkAddresses("The sender", {message.from});
  for (const auto* recipients : {&message.to, &message.cc, &message.bcc}) checkAddresses("The recipient", *recipients);
  return field("From", addressWords(message.from)) + field("To", addressListWords(message.to)) +
         field("Cc", addressListWords(message.cc)) + field("Bcc", addressListWords(message.bcc)) +
         field("Subject", textWords(message.subject)) + field("Date", {dateText(message.date)}) +
         field("Message-ID", idWords({message.messageID})) + field("In-Reply-To", idWords({message.inReplyTo})) +
         field("References", referenceWords(message.references)) + "MIME-Version: 1.0\n" + body(message);
}
