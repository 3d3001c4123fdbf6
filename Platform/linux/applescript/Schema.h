// An application's dictionary, indexed: which properties and elements a class has, its ancestors'
// among them.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "Platform/linux/applescript/Application.h"

namespace AppleScript {

class Schema {
 public:
  explicit Schema(const Dictionary& dictionary);

  /// The application's index, made when it is first asked for and kept with the dictionary.
  static const Schema& of(Application& application);
  /// Drops what `of` has kept; done before a run, since the applications of the one before may have gone.
  static void forget();

  const PropertyTerm* property(std::string_view className, std::string_view name) const;
  bool hasElement(std::string_view className, std::string_view element) const;
  bool inherits(std::string_view className, std::string_view ancestor) const;

 private:
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>()(text); }
  };
  template <class T>
  using Map = std::unordered_map<std::string, T, Hash, std::equal_to<>>;
  struct Class {
    Map<const PropertyTerm*> properties;
    std::unordered_set<std::string, Hash, std::equal_to<>> elements;
    std::unordered_set<std::string, Hash, std::equal_to<>> ancestors;
  };
  Map<Class> classes_;
};

}  // namespace AppleScript
