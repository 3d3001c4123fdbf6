// vCard 3.0 and 4.0 (RFC 2426, RFC 6350): cards that keep every byte which an edit doesn't touch.
//
// A card is its content lines in their order, each with the bytes that it had in the file: foldings,
// groups, parameters and properties we know nothing of stay as they were. Only a line whose value is set
// is written anew. Bytes between cards, and a card whose end is cut off, stay as well.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/linux/stores/ContentLines.h"

namespace VCard {

using Property = ContentLines::Line;
using ContentLines::escaped;
using ContentLines::joinComponents;

class Card {
 public:
  using PropertyPtr = std::shared_ptr<Property>;

  /// A new card of version 3.0 with a random UID.
  static Card create();

  /// The first property of this name (upper case), or null.
  PropertyPtr find(std::string_view name) const;
  std::vector<PropertyPtr> all(std::string_view name) const;
  /// Of the first property of this name; empty when there is none.
  std::string text(std::string_view name) const;
  std::vector<std::string> components(std::string_view name) const;
  /// The one of this name in the same group: the label X-ABLABEL of an address, say. Or null.
  PropertyPtr inGroup(const std::string& group, std::string_view name) const;

  /// Sets the escaped value of the first property of this name, which keeps its group and parameters, or
  /// adds one. An empty value removes it.
  void set(std::string_view name, const std::string& escapedValue);
  void setValue(Property& property, const std::string& escapedValue);
  void setParameters(Property& property, const std::string& parameters);
  PropertyPtr add(std::string_view name, const std::string& escapedValue, const std::string& parameters = {},
                  const std::string& group = {});
  /// Together with the other properties of its group.
  void remove(const PropertyPtr& property);
  /// A group that no property is in: "item3".
  std::string freeGroup() const;

  std::string bytes() const;
  /// Since it was read or made, or `markSaved` was called.
  bool hasChanges() const { return hasChanges_; }
  void markSaved() { hasChanges_ = false; }

 private:
  friend class CardReader;
  std::string lineEnd() const;

  std::string before_;  // between the card before and this one
  std::vector<PropertyPtr> properties_;
  bool hasChanges_ = false;
};

/// The cards of a file, and what follows the last one. The bytes of the cards and the rest together are
/// the file.
struct File {
  std::vector<std::shared_ptr<Card>> cards;
  std::string rest;
  std::string bytes() const;
};
File parse(std::string_view bytes);

}  // namespace VCard
