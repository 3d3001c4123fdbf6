// Contacts: people with their email addresses, phones, postal addresses and web pages, in the
// ContactsStore. Changes are written at `save`, when the application is told to quit, and at the latest
// when the script ends, so none is lost.
#include <algorithm>
#include <array>
#include <charconv>
#include <optional>

#include "Platform/Desktop.h"
#include "Platform/SystemLog.h"
#include "Platform/Text.h"
#include "Platform/linux/applescript/DateForms.h"
#include "Platform/linux/apps/Applications.h"
#include "Platform/linux/apps/DesktopApplication.h"
#include "Platform/linux/stores/ContactsStore.h"

using namespace AppleScript;

namespace {

// ---- What a person has several of.

/// A class of elements and the vCard property that it is.
struct ElementKind {
  std::string_view className;
  std::string_view property;
};
constexpr std::array<ElementKind, 4> elementKinds = {
    {{"email", "EMAIL"}, {"phone", "TEL"}, {"address", "ADR"}, {"url", "URL"}}};

std::string_view propertyOf(std::string_view className) {
  const auto found = std::find_if(elementKinds.begin(), elementKinds.end(),
                                  [&](const auto& kind) { return kind.className == className; });
  return found == elementKinds.end() ? "" : found->property;
}

/// The properties of a class that are parts of one vCard property.
struct Part {
  std::string_view name;
  std::size_t index;
};
constexpr std::array<Part, 5> nameParts = {
    {{"last name", 0}, {"first name", 1}, {"middle name", 2}, {"title", 3}, {"suffix", 4}}};
constexpr std::array<Part, 5> addressParts = {{{"street", 2}, {"city", 3}, {"state", 4}, {"zip", 5}, {"country", 6}}};
constexpr std::array<Part, 2> organizationParts = {{{"organization", 0}, {"department", 1}}};

template <std::size_t N>
std::optional<std::size_t> partOf(const std::array<Part, N>& parts, std::string_view name) {
  const auto found = std::find_if(parts.begin(), parts.end(), [&](const auto& part) { return part.name == name; });
  return found == parts.end() ? std::nullopt : std::optional(found->index);
}

/// Properties of a person that are one vCard property each.
struct Field {
  std::string_view name;
  std::string_view property;
};
constexpr std::array<Field, 3> plainFields = {{{"nickname", "NICKNAME"}, {"job title", "TITLE"}, {"note", "NOTE"}}};

// ---- Labels: the types that vCard names, and any other as X-ABLABEL in a group of its own.

constexpr std::array<std::pair<std::string_view, std::string_view>, 6> labels = {
    {{"work", "WORK"}, {"home", "HOME"}, {"mobile", "CELL"}, {"main", "MAIN"}, {"pager", "PAGER"}, {"other", "OTHER"}}};

std::string typeOfLabel(std::string_view label) {
  for (const auto& [known, type] : labels)
    if (Text::equalIgnoringCase(known, label)) return std::string(type);
  return {};
}

Value labelOf(const VCard::Card& card, const VCard::Property& property) {
  if (const auto own = card.inGroup(property.group, "X-ABLABEL")) {
    const auto text = own->text();
    const bool isSystemLabel = text.starts_with("_$!<") && text.ends_with(">!$_");
    return isSystemLabel ? Text::lowercase(std::string_view(text).substr(4, text.size() - 8)) : text;
  }
  for (const auto& type : property.parameter("TYPE"))
    for (const auto& [label, known] : labels)
      if (Text::lowercase(known) == type) return label;
  return Missing();
}

void setLabel(VCard::Card& card, const VCard::Card::PropertyPtr& property, const std::string& label) {
  if (const auto own = card.inGroup(property->group, "X-ABLABEL")) return card.setValue(*own, VCard::escaped(label));
  if (const auto type = typeOfLabel(label); !type.empty()) return card.setParameters(*property, ";TYPE=" + type);
  if (property->group.empty()) property->group = card.freeGroup();
  card.setParameters(*property, "");
  card.add("X-ABLABEL", VCard::escaped(label), "", property->group);
}

// ---- The application.

Dictionary contactsDictionary() {
  const auto labelled = [](std::string name, std::string plural) {
    return ClassTerm{
        .name = std::move(name), .plural = std::move(plural), .properties = {{"label", true}, {"value", true}, {"id"}}};
  };
  return {
      .classes =
          {
              {.name = "application", .plural = "applications", .properties = {{"unsaved"}}, .elements = {"person"}},
              {.name = "person",
               .plural = "people",
               .properties = {{"name"},
                              {"id"},
                              {"first name", true},
                              {"middle name", true},
                              {"last name", true},
                              {"title", true},
                              {"suffix", true},
                              {"nickname", true},
                              {"organization", true},
                              {"department", true},
                              {"job title", true},
                              {"note", true},
                              {"birth date", true},
                              {"company", true},
                              {"vcard"}},
               .elements = {"email", "phone", "address", "url"}},
              labelled("email", "emails"),
              labelled("phone", "phones"),
              labelled("url", "urls"),
              {.name = "address",
               .plural = "addresses",
               .properties = {{"label", true},
                              {"id"},
                              {"street", true},
                              {"city", true},
                              {"state", true},
                              {"zip", true},
                              {"country", true},
                              {"formatted address"}}},
          },
      .commands = {},
      .constants = {},
  };
}

class Contacts : public DesktopApplication {
 public:
  Contacts() : DesktopApplication("Contacts", contactsDictionary()), store(Desktop::root() / "contacts") {}
  ~Contacts() override {
    try {
      store.save();
    } catch (const std::exception& failure) {
      SystemLog::error("tavro.desktop", "contacts", "Changes of a script could not be saved", failure.what());
    }
  }

  ContactsStore store;

 protected:
  Value ownProperty(std::string_view) override { return store.hasChanges(); }  // unsaved
  std::vector<ObjectPtr> ownElements(std::string_view) override;
  Value execute(const Command& command) override;
  void prepareToQuit() override { store.save(); }

 private:
  ObjectPtr make(const DesktopValues::Making& making);
};

// ---- Email addresses and their like.

class Detail : public DesktopObject {
 public:
  Detail(Contacts& contacts, ContactsStore::PersonPtr person, VCard::Card::PropertyPtr property, std::string className)
      : DesktopObject(contacts),
        stored(std::move(person)),
        property_(std::move(property)),
        className_(std::move(className)) {}

  std::string className() const override { return className_; }
  std::string specifier() const override {
    return className_ + " id " + DesktopValues::quoted(id()) + " of person id " + DesktopValues::quoted(stored->id);
  }
  bool exists() override { return number() > 0 && !stored->removed; }

  Value property(std::string_view name) override {
    if (name == "label") return labelOf(*stored->card, *property_);
    if (name == "id") return id();
    if (name == "formatted address") return formattedAddress();
    if (const auto part = partOf(addressParts, name)) {
      const auto parts = property_->components();
      return *part < parts.size() && !parts[*part].empty() ? Value(parts[*part]) : Value(Missing());
    }
    auto value = property_->text();
    return value.starts_with("tel:") ? value.substr(4) : value;  // vCard 4.0 may write phones as URIs
  }

  void setProperty(std::string_view name, const Value& value) override {
    auto& card = *stored->card;
    const auto text = asText(value);
    if (name == "label") return setLabel(card, property_, text);
    const auto part = partOf(addressParts, name);
    if (!part) return card.setValue(*property_, VCard::escaped(text));
    auto parts = property_->components();
    parts.resize(std::max<std::size_t>(parts.size(), 7));
    parts[*part] = text;
    card.setValue(*property_, VCard::joinComponents(parts));
  }

  void remove() { stored->card->remove(property_); }

  const ContactsStore::PersonPtr stored;

 private:
  /// Among those of its kind, from 1 on; 0 when it is gone.
  std::size_t number() const {
    const auto all = stored->card->all(property_->name);
    const auto found = std::find(all.begin(), all.end(), property_);
    return found == all.end() ? 0 : static_cast<std::size_t>(found - all.begin()) + 1;
  }
  std::string id() const { return stored->id + ":" + className_ + std::to_string(number()); }

  std::string formattedAddress() const {
    std::vector<std::string> lines;
    for (const auto& text : property_->components())
      if (!text.empty()) lines.push_back(text);
    return Text::join(lines, "\n");
  }

  VCard::Card::PropertyPtr property_;
  std::string className_;
};

// ---- People.

Value textOrMissing(std::string text) { return text.empty() ? Value(Missing()) : Value(std::move(text)); }

/// "1984-05-17" or "19840517".
Value birthDate(std::string digits) {
  std::erase(digits, '-');
  int number = 0;
  const auto [end, failure] =
      std::from_chars(digits.data(), digits.data() + std::min<std::size_t>(digits.size(), 8), number);
  if (failure != std::errc() || end != digits.data() + 8) return Missing();
  return fromFields({.year = number / 10000, .month = number / 100 % 100, .day = number % 100});
}

std::string birthText(Date date) {
  const auto day = fields(date);
  const auto padded = [](std::int64_t number, std::size_t width) {
    auto text = std::to_string(number);
    return std::string(width - std::min(width, text.size()), '0') + text;
  };
  return padded(day.year, 4) + "-" + padded(day.month, 2) + "-" + padded(day.day, 2);
}

class Person : public DesktopObject {
 public:
  Person(Contacts& contacts, ContactsStore::PersonPtr person)
      : DesktopObject(contacts), stored(std::move(person)), contacts_(contacts) {}

  std::string className() const override { return "person"; }
  std::string specifier() const override { return "person id " + DesktopValues::quoted(stored->id); }
  bool exists() override { return !stored->removed; }

  Value property(std::string_view name) override {
    auto& card = *stored->card;
    if (name == "name") return stored->displayName();
    if (name == "id") return stored->id;
    if (name == "vcard") return Text::repairUTF8(card.bytes());
    if (name == "company") return Text::equalIgnoringCase(card.text("X-ABSHOWAS"), "COMPANY");
    if (name == "birth date") return birthDate(card.text("BDAY"));
    if (const auto part = partOf(nameParts, name)) return textOrMissing(stored->namePart(*part));
    if (const auto part = partOf(organizationParts, name)) return textOrMissing(organizationPart(*part));
    for (const auto& field : plainFields)
      if (field.name == name) return textOrMissing(card.text(field.property));
    return Missing();
  }

  void setProperty(std::string_view name, const Value& value) override {
    auto& card = *stored->card;
    if (name == "company") return card.set("X-ABSHOWAS", asBoolean(value) ? "COMPANY" : "");
    if (name == "birth date") return card.set("BDAY", value.isMissing() ? "" : birthText(asDate(value)));
    const auto text = value.isMissing() ? "" : asText(value);
    if (const auto part = partOf(nameParts, name)) return stored->setNamePart(*part, text);
    if (const auto part = partOf(organizationParts, name)) return setOrganizationPart(*part, text);
    for (const auto& field : plainFields)
      if (field.name == name) card.set(field.property, VCard::escaped(text));
  }

  std::vector<ObjectPtr> elements(std::string_view className) override {
    std::vector<ObjectPtr> found;
    for (const auto& property : stored->card->all(propertyOf(className))) found.push_back(detail(property, className));
    return found;
  }

  /// None of them has a name.
  ObjectPtr elementNamed(std::string_view, std::string_view) override { return nullptr; }

  /// A new email and so on, at the end of the card.
  ObjectPtr add(const std::string& className) {
    return detail(stored->card->add(propertyOf(className), className == "address" ? ";;;;;;" : ""), className);
  }

  const ContactsStore::PersonPtr stored;

 private:
  ObjectPtr detail(const VCard::Card::PropertyPtr& property, std::string_view className) {
    return std::make_shared<Detail>(contacts_, stored, property, std::string(className));
  }

  std::string organizationPart(std::size_t part) const {
    const auto parts = stored->card->components("ORG");
    return part < parts.size() ? parts[part] : "";
  }
  void setOrganizationPart(std::size_t part, const std::string& text) {
    auto parts = stored->card->components("ORG");
    parts.resize(std::max(parts.size(), part + 1));
    parts[part] = text;
    stored->setOrganization(parts);
  }

  Contacts& contacts_;
};

// ---- The application again.

std::vector<ObjectPtr> Contacts::ownElements(std::string_view) {
  std::vector<ObjectPtr> found;
  for (const auto& person : store.people()) found.push_back(std::make_shared<Person>(*this, person));
  return found;
}

Value Contacts::execute(const Command& command) {
  if (command.name == "make") return make(DesktopValues::making(command));
  if (command.name == "save") {
    store.save();
    return {};
  }
  if (command.name == "delete") {
    for (const auto& object : DesktopValues::objects(command)) {
      if (const auto person = std::dynamic_pointer_cast<Person>(object))
        store.remove(person->stored);
      else if (const auto detail = std::dynamic_pointer_cast<Detail>(object))
        detail->remove();
      else
        DesktopValues::cannotDelete(*object);
    }
    return {};
  }
  DesktopValues::notUnderstood(command);
}

ObjectPtr Contacts::make(const DesktopValues::Making& making) {
  const auto person = std::dynamic_pointer_cast<Person>(making.place);
  ObjectPtr made;
  if (making.className == "person")
    made = std::make_shared<Person>(*this, store.add());
  else if (person && !propertyOf(making.className).empty())
    made = person->add(making.className);
  else
    DesktopValues::cannotMake(making);
  DesktopValues::setAll(*made, making.properties);
  return made;
}

}  // namespace

std::shared_ptr<Application> Applications::contacts() { return std::make_shared<Contacts>(); }
