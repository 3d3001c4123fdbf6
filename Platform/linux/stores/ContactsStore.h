// Contacts on disk: contacts/*.vcf, with one card or several in a file. All files are read at first use;
// changes stay in memory until `save`, so that a new person appears on disk with all that belongs to it.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "Platform/linux/stores/VCard.h"

class ContactsStore {
 public:
  /// A card and the file that it is in.
  struct Person {
    std::shared_ptr<VCard::Card> card;
    std::string id;  // the card's UID, else <file>#<number in it>
    bool removed = false;

    /// FN; else what N holds, an organization's name, or the first email address.
    std::string displayName() const;
    /// A part of N: 0 family, 1 given, 2 additional names, 3 prefix, 4 suffix.
    std::string namePart(std::size_t part) const;
    /// Also brings FN into line, which every card must have.
    void setNamePart(std::size_t part, const std::string& text);
    void setOrganization(const std::vector<std::string>& components);
  };
  using PersonPtr = std::shared_ptr<Person>;

  explicit ContactsStore(std::filesystem::path root);

  /// By file name, and in the order of each file. A file that can't be read counts as empty.
  const std::vector<PersonPtr>& people();

  PersonPtr add();
  void remove(const PersonPtr& person);

  bool hasChanges() const;
  /// Writes each file with changes as a whole, a new person as <UID>.vcf. Throws FileFailure, and Error
  /// when another program has changed a file since it was read; what could not be written stays unsaved.
  void save();

 private:
  struct Book;
  void load();
  void write(Book& book);

  std::filesystem::path root_;
  bool isLoaded_ = false;
  std::vector<std::shared_ptr<Book>> books_;
  std::vector<PersonPtr> people_;
};
