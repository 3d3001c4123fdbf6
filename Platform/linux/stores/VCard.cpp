#include "Platform/linux/stores/VCard.h"

#include <algorithm>

#include "Platform/Text.h"
#include "Platform/Uuid.h"

namespace {

using std::string_view;

std::shared_ptr<VCard::Property> parseProperty(string_view raw) {
  return std::make_shared<VCard::Property>(ContentLines::parse(raw));
}

bool isMark(const VCard::Property& property, string_view name) { return ContentLines::isMark(property, name, "VCARD"); }

}  // namespace

// ---- Cards.

VCard::Card VCard::Card::create() {
  Card card;
  const auto text =
      "BEGIN:VCARD\r\nVERSION:3.0\r\nPRODID:-//Tavro//Desktop//EN\r\nN:;;;;\r\nFN:\r\nUID:" + Uuid::random() +
      "\r\nEND:VCARD\r\n";
  for (std::size_t at = 0; at < text.size();) card.properties_.push_back(parseProperty(ContentLines::take(text, at)));
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
  property.setValue(escapedValue, lineEnd());
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
    while (at < bytes.size()) takeProperty(parseProperty(ContentLines::take(bytes, at)));
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
