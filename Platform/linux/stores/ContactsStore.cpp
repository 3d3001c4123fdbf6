#include "Platform/linux/stores/ContactsStore.h"

#include <algorithm>

#include "Platform/Files.h"
#include "Platform/Text.h"
#include "Platform/linux/stores/FileNames.h"
#include "Platform/linux/stores/StoreLock.h"

namespace fs = std::filesystem;

/// A file and what we read from it.
struct ContactsStore::Book {
  fs::path path;
  std::string bytes;  // as on disk; empty for a file that isn't there yet
  bool isNew = false;
  VCard::File content = {};
  bool hasLostCards = false;

  bool hasChanges() const {
    const auto& cards = content.cards;
    if (isNew) return !cards.empty();
    return hasLostCards || std::any_of(cards.begin(), cards.end(), [](const auto& card) { return card->hasChanges(); });
  }
};

namespace {

std::string organizationOf(const VCard::Card& card) {
  const auto organization = card.components("ORG");
  return organization.empty() ? "" : organization.front();
}

void setFullName(VCard::Card& card, const std::string& name) {
  if (const auto property = card.find("FN"))
    card.setValue(*property, VCard::escaped(name));
  else
    card.add("FN", VCard::escaped(name));
}

std::string composedName(const ContactsStore::Person& person) {
  std::vector<std::string> parts;
  for (const std::size_t part : {3, 1, 2, 0, 4})  // as one speaks them
    if (auto text = person.namePart(part); !text.empty()) parts.push_back(std::move(text));
  return Text::join(parts, " ");
}

}  // namespace

// ---- Names.

std::string ContactsStore::Person::displayName() const {
  if (auto name = card->text("FN"); !Text::trim(name).empty()) return name;
  if (auto name = composedName(*this); !name.empty()) return name;
  if (auto organization = organizationOf(*card); !organization.empty()) return organization;
  return card->text("EMAIL");
}

std::string ContactsStore::Person::namePart(std::size_t part) const {
  const auto parts = card->components("N");
  return part < parts.size() ? parts[part] : "";
}

void ContactsStore::Person::setNamePart(std::size_t part, const std::string& text) {
  constexpr std::size_t partCount = 5;
  auto parts = card->components("N");
  parts.resize(std::max(parts.size(), partCount));
  parts[part] = text;
  card->set("N", VCard::joinComponents(parts));
  const auto composed = composedName(*this);
  setFullName(*card, composed.empty() ? organizationOf(*card) : composed);
}

void ContactsStore::Person::setOrganization(const std::vector<std::string>& components) {
  const bool isEmpty = std::all_of(components.begin(), components.end(), [](const auto& text) { return text.empty(); });
  card->set("ORG", isEmpty ? "" : VCard::joinComponents(components));
  if (card->text("FN").empty()) setFullName(*card, organizationOf(*card));
}

// ---- The store.

ContactsStore::ContactsStore(fs::path root) : root_(std::move(root)) {}

const std::vector<ContactsStore::PersonPtr>& ContactsStore::people() {
  load();
  return people_;
}

void ContactsStore::load() {
  if (std::exchange(isLoaded_, true)) return;
  for (const auto& name : Files::listIfPossible(root_)) {
    const auto path = root_ / name;
    if (name.front() == '.' || path.extension() != ".vcf") continue;
    auto bytes = Files::readIfPossible(path);
    if (!bytes) continue;
    auto book = std::make_shared<Book>(Book{.path = path, .bytes = std::move(*bytes)});
    book->content = VCard::parse(book->bytes);
    for (std::size_t number = 1; const auto& card : book->content.cards) {
      auto id = card->text("UID");
      if (id.empty()) id = Text::repairUTF8(name) + "#" + std::to_string(number);
      ++number;
      people_.push_back(std::make_shared<Person>(Person{.card = card, .id = std::move(id)}));
    }
    books_.push_back(std::move(book));
  }
}

ContactsStore::PersonPtr ContactsStore::add() {
  load();
  const auto card = std::make_shared<VCard::Card>(VCard::Card::create());
  auto person = std::make_shared<Person>(Person{.card = card, .id = card->text("UID")});
  books_.push_back(std::make_shared<Book>(Book{.path = root_ / (FileNames::safe(person->id) + ".vcf"),
                                               .isNew = true,
                                               .content = {.cards = {card}, .rest = {}}}));
  people_.push_back(person);
  return person;
}

void ContactsStore::remove(const PersonPtr& person) {
  person->removed = true;
  for (const auto& book : books_)
    if (std::erase(book->content.cards, person->card) > 0) book->hasLostCards = true;
  std::erase(people_, person);
}

bool ContactsStore::hasChanges() const {
  return std::any_of(books_.begin(), books_.end(), [](const auto& book) { return book->hasChanges(); });
}

void ContactsStore::save() {
  if (!hasChanges()) return;
  const StoreLock lock(root_.parent_path() / ".contacts.lock");  // beside: the folder may be synchronized
  for (const auto& book : books_)
    if (book->hasChanges()) write(*book);
}

void ContactsStore::write(Book& book) {
  auto bytes = book.content.bytes();
  if (book.isNew) {
    Files::createDirectories(root_);
    if (!Files::createNew(book.path, bytes))
      throw Error("The contact file " + book.path.string() + " exists already; nothing was written to it.");
    book.isNew = false;
  } else {
    if (Files::read(book.path) != book.bytes)
      throw Error(
          "The contact file " + book.path.string() +
          " was changed by another program since it was read; nothing was written to it. Run the script again.");
    if (Text::trim(bytes).empty())
      Files::remove(book.path);
    else
      Files::replace(book.path, bytes);
  }
  book.bytes = std::move(bytes);
  book.hasLostCards = false;
  for (const auto& card : book.content.cards) card->markSaved();
}
