// Flattens inheritance once, so that a property read costs two look-ups.
#include "Platform/linux/applescript/Schema.h"

#include <map>
#include <memory>

namespace AppleScript {

Schema::Schema(const Dictionary& dictionary) {
  std::map<std::string_view, const ClassTerm*> terms;
  for (const ClassTerm& term : dictionary.classes) terms[term.name] = &term;
  for (const ClassTerm& term : dictionary.classes) {
    Class& entry = classes_[term.name];
    const ClassTerm* part = &term;
    // A dictionary whose classes inherit in a circle is cut off instead of followed for ever.
    for (std::size_t steps = 0; part && steps <= terms.size(); ++steps) {
      entry.ancestors.insert(part->name);
      for (const PropertyTerm& property : part->properties) entry.properties.emplace(property.name, &property);
      entry.elements.insert(part->elements.begin(), part->elements.end());
      const auto parent = terms.find(part->inherits);
      part = parent == terms.end() ? nullptr : parent->second;
    }
  }
}

namespace {
// By the dictionary's address, which stays while a script runs.
thread_local std::unordered_map<const Dictionary*, std::unique_ptr<Schema>> schemas;
}  // namespace

void Schema::forget() { schemas.clear(); }

const Schema& Schema::of(Application& application) {
  auto& schema = schemas[&application.dictionary()];
  if (!schema) schema = std::make_unique<Schema>(application.dictionary());
  return *schema;
}

const PropertyTerm* Schema::property(std::string_view className, std::string_view name) const {
  const auto entry = classes_.find(className);
  if (entry == classes_.end()) return nullptr;
  const auto found = entry->second.properties.find(name);
  return found == entry->second.properties.end() ? nullptr : found->second;
}

bool Schema::hasElement(std::string_view className, std::string_view element) const {
  const auto entry = classes_.find(className);
  if (entry == classes_.end()) return false;
  if (entry->second.elements.contains(element)) return true;
  const auto kind = classes_.find(element);
  if (kind == classes_.end()) return false;
  for (const std::string& ancestor : kind->second.ancestors)
    if (entry->second.elements.contains(ancestor)) return true;
  return false;
}

bool Schema::inherits(std::string_view className, std::string_view ancestor) const {
  const auto entry = classes_.find(className);
  return entry != classes_.end() && entry->second.ancestors.contains(ancestor);
}

}  // namespace AppleScript
