#include "Platform/linux/stores/MimeAddress.h"

#include <algorithm>
#include <utility>

#include "Platform/Text.h"
#include "Platform/linux/stores/MimeText.h"

namespace {

using std::string_view;

constexpr std::size_t longestAddress = 320;  // RFC 3696: 64 before the @, 255 behind it

/// Without white space and control characters, the scheme of a link, and a route ("@a,@b:ann@x").
std::string cleanAddress(string_view raw) {
  std::string address = Mime::toUTF8(std::string(raw), "");
  address = Text::replaceAll(Mime::onOneLine(address), " ", "");
  if (Mime::equalIgnoringAsciiCase(string_view(address).substr(0, 7), "mailto:")) address.erase(0, 7);
  if (address.starts_with('@'))
    if (const auto colon = address.find(':'); colon != std::string::npos) address.erase(0, colon + 1);
  return address;
}

/// One pass over the text, a character at a time. We bear what isn't grammatical (RFC 5322): mail is full of it.
/// (GMime's parser gives up on "Ann [x] <a@b>", and recurses once per ":" without a limit.)
class AddressReader {
 public:
  explicit AddressReader(string_view text) : text_(text) {}

  std::vector<Mime::Address> read() {
    while (at_ < text_.size()) take(text_[at_++]);
    finish();
    return std::move(found_);
  }

 private:
  /// The address that we are in.
  struct Entry {
    std::string word, name, comment;
    std::string bare;     // the first word with an "@": the address, unless one in angles comes
    std::string address;  // in angles
    bool hasAngle = false;
  };

  void take(char c) {
    switch (c) {
      case '"':
        return takeQuoted();
      case '(':
        return takeComment();
      case '<':
        return takeAngle();
      case ':':
        return takeColon();
      case ',':
      case ';':
        return finish();  // ";" ends a group, and parts addresses in some programs
      case ' ':
      case '\t':
      case '\r':
      case '\n':
        return endWord();
      default:
        entry_.word += c;
    }
  }

  /// A quoted local part keeps its quotes ("a b"@x), a quoted name loses them.
  void takeQuoted() {
    std::string content;
    const auto begin = at_ - 1;
    for (; at_ < text_.size() && text_[at_] != '"'; ++at_) {
      if (text_[at_] == '\\' && at_ + 1 < text_.size()) ++at_;
      content += text_[at_];
    }
    at_ = std::min(at_ + 1, text_.size());
    if (at_ < text_.size() && text_[at_] == '@') {
      entry_.word += text_.substr(begin, at_ - begin);
    } else {
      endWord();
      addToName(content);
    }
  }

  void takeComment() {
    std::string content;
    for (int depth = 1; at_ < text_.size(); ++at_) {
      if (text_[at_] == ')' && --depth == 0) break;
      if (text_[at_] == '(') ++depth;
      if (text_[at_] == '\\' && at_ + 1 < text_.size()) ++at_;
      content += text_[at_];
    }
    at_ = std::min(at_ + 1, text_.size());
    endWord();
    entry_.comment = std::move(content);
  }

  /// Up to ">"; where that is missing, up to what can't belong to it.
  void takeAngle() {
    endWord();
    if (entry_.hasAngle) finish();  // "Ann <a@b> <c@d>"
    addToName(std::exchange(entry_.bare, {}));
    auto end = std::min(text_.find_first_of("<>", at_), text_.size());
    const bool isClosed = end < text_.size() && text_[end] == '>';
    if (!isClosed) end = at_ + std::min(text_.substr(at_, end - at_).find(','), end - at_);
    entry_.address = cleanAddress(text_.substr(at_, end - at_));
    entry_.hasAngle = true;
    at_ = isClosed ? end + 1 : end;
  }

  /// Ends a group's name; but "mailto:ann@x" is no group, nor is ann@[IPv6:::1].
  void takeColon() {
    if (string_view(entry_.word).substr(0, longestAddress).find("@[") != string_view::npos)
      entry_.word += ':';
    else if (Mime::equalIgnoringAsciiCase(entry_.word, "mailto"))
      entry_.word.clear();
    else
      entry_ = {};
  }

  void endWord() {
    const auto word = std::exchange(entry_.word, {});
    if (entry_.bare.empty() && !entry_.hasAngle && word.find('@') != std::string::npos)
      entry_.bare = word;
    else
      addToName(word);
  }

  void addToName(const std::string& word) {
    if (!word.empty()) entry_.name += (entry_.name.empty() ? "" : " ") + word;
  }

  void finish() {
    endWord();
    const auto& name = entry_.name.empty() ? entry_.comment : entry_.name;
    Mime::Address one{
        .name = Mime::onOneLine(Mime::decodedWords(name)),
        .address = entry_.hasAngle ? entry_.address : cleanAddress(Text::replaceAll(entry_.bare, ">", ""))};
    if (!one.name.empty() || !one.address.empty()) found_.push_back(std::move(one));
    entry_ = {};
  }

  string_view text_;
  std::size_t at_ = 0;
  Entry entry_;
  std::vector<Mime::Address> found_;
};

constexpr string_view specials = "()<>[]:;@\\,\"";

bool isAtomText(string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
    return (c > ' ' && c != 0x7F && specials.find(c) == string_view::npos) || static_cast<unsigned char>(c) >= 0x80;
  });
}

/// With blanks or angles in it such an address would be legal, and nobody's.
bool isQuotedString(string_view text) {
  if (text.size() < 3 || text.front() != '"' || text.back() != '"') return false;
  text = text.substr(1, text.size() - 2);
  return std::none_of(text.begin(), text.end(), [](char c) {
    return (c >= 0 && c <= ' ') || c == 0x7F || string_view("\"\\<>").find(c) != string_view::npos;
  });
}

bool isDomain(string_view text) {
  if (!text.starts_with('[')) return isAtomText(text);
  return text.ends_with(']') && text.size() > 2 &&
         text.find_first_not_of("0123456789abcdefABCDEFIPv.:", 1) == text.size() - 1;
}

}  // namespace

std::string Mime::display(const Address& address) {
  if (address.name.empty() || address.address.empty()) return address.name + address.address;
  std::string name = address.name;
  if (name.find_first_of(specials) != std::string::npos) {
    name = Text::replaceAll(Text::replaceAll(name, "\\", "\\\\"), "\"", "\\\"");
    name = '"' + name + '"';
  }
  return name + " <" + address.address + ">";
}

std::vector<Mime::Address> Mime::addresses(string_view text) { return AddressReader(text).read(); }

bool Mime::isAddress(string_view address) {
  const auto at = address.rfind('@');
  if (at == string_view::npos || address.size() > longestAddress || !Text::isValidUTF8(address)) return false;
  if (cleanAddress(address) != address) return false;  // a line separator in it (U+2028) would be lost when it is read
  const auto local = address.substr(0, at);
  return (isAtomText(local) || isQuotedString(local)) && isDomain(address.substr(at + 1));
}

std::string Mime::displayed(const std::vector<Address>& addresses) {
  std::vector<std::string> texts(addresses.size());
  std::transform(addresses.begin(), addresses.end(), texts.begin(), display);
  return Text::join(texts, ", ");
}
