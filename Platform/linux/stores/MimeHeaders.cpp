#include "Platform/linux/stores/MimeHeaders.h"

#include <algorithm>
#include <array>
#include <unordered_set>
#include <utility>

#include "Platform/Text.h"
#include "Platform/linux/stores/MimeDate.h"
#include "Platform/linux/stores/MimeFields.h"
#include "Platform/linux/stores/MimeText.h"

namespace {

using std::string_view;

// ---- Message ids.

std::string cleanID(string_view raw) {
  const auto text = Mime::onOneLine(Mime::toUTF8(std::string(raw), ""));
  return Text::replaceAll(text, " ", "");
}

/// The ids in angle brackets; where there are none, the words that look like one.
std::vector<std::string> messageIDs(string_view value) {
  std::vector<std::string> ids;
  std::unordered_set<std::string> seen;
  const auto add = [&](string_view raw) {
    auto id = cleanID(raw);
    if (!id.empty() && seen.insert(id).second) ids.push_back(std::move(id));
  };
  for (auto begin = value.find('<'); begin != string_view::npos; begin = value.find('<', begin + 1))
    if (const auto end = value.find_first_of("<>", begin + 1); end != string_view::npos && value[end] == '>')
      add(value.substr(begin + 1, end - begin - 1));
  if (!ids.empty()) return ids;
  for (const auto& word : Text::split(Mime::onOneLine(value), ' '))
    if (word.find('@') != std::string::npos) add(Text::replaceAll(Text::replaceAll(word, "<", ""), ">", ""));
  return ids;
}

/// Some programs write ids without brackets, or without "@".
std::string messageID(string_view value) {
  const auto ids = messageIDs(value);
  if (!ids.empty()) return ids.front();
  return Text::replaceAll(Text::replaceAll(cleanID(value), "<", ""), ">", "");
}

void join(std::vector<std::string>& ids, std::vector<std::string>&& more) {
  std::unordered_set<std::string> seen(ids.begin(), ids.end());
  for (auto& id : more)
    if (seen.insert(id).second) ids.push_back(std::move(id));
}

// ---- Fields.

/// "from x by y for <z>; Tue, 1 Jul 2003 10:52:37 +0200"
std::optional<Dates::Instant> receivedDate(string_view value) {
  const auto semicolon = value.rfind(';');
  return semicolon == string_view::npos ? std::nullopt : Mime::date(value.substr(semicolon + 1));
}

struct Wanted {
  string_view name;
  void (*take)(Mime::Headers& headers, string_view value);
};
using Mime::Headers;
constexpr std::array<Wanted, 11> wanted = {{
    {"subject", [](Headers& h, string_view v) { h.subject = Mime::onOneLine(Mime::decodedWords(v)); }},
    {"from", [](Headers& h, string_view v) { h.fromAddresses = Mime::addresses(v); }},
    {"reply-to", [](Headers& h, string_view v) { h.replyTo = Mime::addresses(v); }},
    {"to", [](Headers& h, string_view v) { h.to = Mime::addresses(v); }},
    {"cc", [](Headers& h, string_view v) { h.cc = Mime::addresses(v); }},
    {"bcc", [](Headers& h, string_view v) { h.bcc = Mime::addresses(v); }},
    {"message-id", [](Headers& h, string_view v) { h.messageID = messageID(v); }},
    {"references", [](Headers& h, string_view v) { h.references = messageIDs(v); }},
    {"in-reply-to", nullptr},  // goes behind the references, which may follow it
    {"date", [](Headers& h, string_view v) { h.date = Mime::date(v); }},
    {"received", [](Headers& h, string_view v) { h.lastReceived = receivedDate(v); }},
}};

}  // namespace

Mime::Headers Mime::headers(string_view bytes) {
  Headers headers;
  string_view inReplyTo;
  std::array<bool, wanted.size()> isTaken{};
  FieldReader reader(bytes);
  for (Field field; reader.next(field);) {
    const auto row = std::find_if(wanted.begin(), wanted.end(),
                                  [&](const auto& one) { return equalIgnoringAsciiCase(one.name, field.name); });
    if (row == wanted.end() || std::exchange(isTaken[static_cast<std::size_t>(row - wanted.begin())], true)) continue;
    if (row->take)
      row->take(headers, field.value);
    else
      inReplyTo = field.value;
  }
  headers.from = Mime::displayed(headers.fromAddresses);
  join(headers.references, messageIDs(inReplyTo));
  return headers;
}
