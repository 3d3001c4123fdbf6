#include "Platform/linux/stores/VCard.h"

#include <algorithm>

#include "Platform/Text.h"
#include "Platform/Uuid.h"

namespace {

using std::string_view;

char upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }
char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

std::string uppercase(string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(), upper);
  return result;
}

std::string unfolded(string_view raw) {
  std::string line;
  line.reserve(raw.size());
  for (std::size_t at = 0; at < raw.size(); ++at) {
    const auto feed = raw.substr(at, 2) == "\r\n" ? at + 1 : at;
    if (raw[feed] != '\n')
      line += raw[at];
    else
      at = feed + 1 < raw.size() ? feed + 1 : feed;  // the blank that goes on with the line
  }
  return line;
}

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

/// The line at `at` with those that continue it; moves `at` behind them.
string_view takeLine(string_view bytes, std::size_t& at) {
  const auto begin = at;
  do {
    const auto feed = bytes.find('\n', at);
    at = feed == string_view::npos ? bytes.size() : feed + 1;
  } while (at < bytes.size() && (bytes[at] == ' ' || bytes[at] == '\t'));
  return bytes.substr(begin, at - begin);
}

std::shared_ptr<VCard::Property> parseProperty(string_view raw) {
  auto property = std::make_shared<VCard::Property>();
  property->raw = raw;
  // Only what stands before the value is taken apart here: a photo's value may be megabytes.
  const auto line = unfolded(raw.substr(0, std::min<std::size_t>(raw.size(), 4096)));
  const auto colon = valueColon(line);
  if (colon == string_view::npos) return property;
  const auto head = string_view(line).substr(0, colon);
  const auto nameEnd = std::min(head.find(';'), head.size());
  const auto dot = head.substr(0, nameEnd).find('.');
  if (dot != string_view::npos) property->group = head.substr(0, dot);
  property->name = uppercase(
      head.substr(dot == string_view::npos ? 0 : dot + 1, nameEnd - (dot == string_view::npos ? 0 : dot + 1)));
  property->parameters = head.substr(nameEnd);
  return property;
}

std::string written(const VCard::Property& property, const std::string& value, string_view lineEnd) {
  const auto group = property.group.empty() ? "" : property.group + ".";
  return folded(group + property.name + property.parameters + ":" + value, lineEnd);
}

bool isMark(const VCard::Property& property, string_view name) {
  return property.name == name && Text::equalIgnoringCase(Text::trim(property.value()), "VCARD");
}

}  // namespace

// ---- Properties.

std::string VCard::Property::value() const {
  auto line = unfolded(raw);
  while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
  const auto colon = valueColon(line);
  return colon == std::string::npos ? "" : line.substr(colon + 1);
}

std::string VCard::Property::text() const { return unescaped(value()); }

std::vector<std::string> VCard::Property::components() const {
  const auto whole = value();
  const auto pieces = cut(whole, ';');
  std::vector<std::string> texts(pieces.size());
  std::transform(pieces.begin(), pieces.end(), texts.begin(), unescaped);
  return texts;
}

std::vector<std::string> VCard::Property::parameter(string_view wanted) const {
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

std::string VCard::escaped(string_view text) {
  std::string value;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const char c = text[at];
    if (c == '\\' || c == ',' || c == ';') value += '\\';
    if (c == '\r' && at + 1 < text.size() && text[at + 1] == '\n') continue;
    value += c == '\n' || c == '\r' ? "\\n" : std::string(1, c);
  }
  return value;
}

std::string VCard::joinComponents(const std::vector<std::string>& components) {
  std::vector<std::string> values(components.size());
  std::transform(components.begin(), components.end(), values.begin(), escaped);
  return Text::join(values, ";");
}

// ---- Cards.

VCard::Card VCard::Card::create() {
  Card card;
  const auto text =
      "BEGIN:VCARD\r\nVERSION:3.0\r\nPRODID:-//Tavro//Desktop//EN\r\nN:;;;;\r\nFN:\r\nUID:" + Uuid::random() +
      "\r\nEND:VCARD\r\n";
  for (std::size_t at = 0; at < text.size();) card.properties_.push_back(parseProperty(takeLine(text, at)));
  return card;
}

VCard::Card::PropertyPtr VCard::Card::find(string_view name) const {
  const auto found =
      std::find_if(properties_.begin(), properties_.end(), [&](const auto& p) { return p->name == name; });
  return found == properties_.end() ? nullptr : *found;
}

std::vector<VCard::Card::PropertyPtr> VCard::Card::all(string_view name) const {
  std::vector<PropertyPtr> found;
  std::copy_if(properties_.begin(), properties_.end(), std::back_inserter(found),
               [&](const auto& p) { return p->name == name; });
  return found;
}

std::string VCard::Card::text(string_view name) const {
  const auto property = find(name);
  return property ? property->text() : "";
}

std::vector<std::string> VCard::Card::components(string_view name) const {
  const auto property = find(name);
  return property ? property->components() : std::vector<std::string>{};
}

VCard::Card::PropertyPtr VCard::Card::inGroup(const std::string& group, string_view name) const {
  if (group.empty()) return nullptr;
  for (const auto& property : properties_)
    if (property->name == name && Text::equalIgnoringCase(property->group, group)) return property;
  return nullptr;
}

void VCard::Card::set(string_view name, const std::string& escapedValue) {
  const auto property = find(name);
  if (escapedValue.empty()) {
    if (property) remove(property);
  } else if (property) {
    setValue(*property, escapedValue);
  } else {
    add(name, escapedValue);
  }
}

void VCard::Card::setValue(Property& property, const std::string& escapedValue) {
  hasChanges_ = true;
  property.raw = written(property, escapedValue, lineEnd());
}

void VCard::Card::setParameters(Property& property, const std::string& parameters) {
  const auto value = property.value();
  property.parameters = parameters;
  setValue(property, value);
}

VCard::Card::PropertyPtr VCard::Card::add(string_view name, const std::string& escapedValue,
                                          const std::string& parameters, const std::string& group) {
  auto property = std::make_shared<Property>();
  property->group = group;
  property->name = name;
  property->parameters = parameters;
  setValue(*property, escapedValue);
  // Before the end; a card that was cut off has none, and perhaps not even the end of its last line.
  auto place = properties_.end();
  if (isMark(*properties_.back(), "END"))
    --place;
  else if (!properties_.back()->raw.ends_with('\n'))
    properties_.back()->raw += lineEnd();
  properties_.insert(place, property);
  return property;
}

void VCard::Card::remove(const PropertyPtr& property) {
  hasChanges_ = true;
  std::erase_if(properties_, [group = property->group, &property](const auto& other) {
    return other == property || (!group.empty() && Text::equalIgnoringCase(other->group, group));
  });
}

std::string VCard::Card::freeGroup() const {
  for (int number = 1;; ++number) {
    auto group = "item" + std::to_string(number);
    if (std::none_of(properties_.begin(), properties_.end(),
                     [&](const auto& p) { return Text::equalIgnoringCase(p->group, group); }))
      return group;
  }
}

std::string VCard::Card::bytes() const {
  auto bytes = before_;
  for (const auto& property : properties_) bytes += property->raw;
  return bytes;
}

std::string VCard::Card::lineEnd() const { return properties_.front()->raw.ends_with("\r\n") ? "\r\n" : "\n"; }

// ---- Files.

namespace VCard {

/// Takes a file apart, line by line.
class CardReader {
 public:
  File read(string_view bytes) {
    constexpr string_view byteOrderMark = "\xEF\xBB\xBF";
    std::size_t at = bytes.starts_with(byteOrderMark) ? byteOrderMark.size() : 0;
    between_ = bytes.substr(0, at);
    while (at < bytes.size()) takeProperty(parseProperty(takeLine(bytes, at)));
    file_.rest = std::move(between_);
    return std::move(file_);
  }

 private:
  /// A card ends at its END, at the next one's BEGIN, or where the file was cut off.
  void takeProperty(std::shared_ptr<Property> property) {
    if (isMark(*property, "BEGIN")) {
      card_ = std::make_shared<Card>();
      card_->before_ = std::exchange(between_, {});
      file_.cards.push_back(card_);
    }
    if (!card_) {
      between_ += property->raw;
      return;
    }
    const bool isLast = isMark(*property, "END");
    card_->properties_.push_back(std::move(property));
    if (isLast) card_.reset();
  }

  File file_;
  std::shared_ptr<Card> card_;  // the one we are in
  std::string between_;
};

}  // namespace VCard

std::string VCard::File::bytes() const {
  std::string bytes;
  for (const auto& card : cards) bytes += card->bytes();
  return bytes + rest;
}

VCard::File VCard::parse(string_view bytes) { return CardReader().read(bytes); }
