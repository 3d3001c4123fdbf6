// The words a script may use. A vocabulary maps phrases ("date received", "to recipients") to what they
// mean; the language, its additions and the standard suite are tables, an application adds its own.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Platform/linux/applescript/Application.h"
#include "Platform/linux/applescript/Lexer.h"
#include "Platform/linux/applescript/Syntax.h"

namespace AppleScript {

/// What a phrase means. It may be several things at once: a class and a property, say.
struct Term {
  std::vector<std::string> words;  // lower-cased
  std::string property;            // the property's canonical name
  std::string className;           // the class's canonical name, singular
  std::string shownClass;          // the class as written here: singular or plural
  bool plural = false;
  const CommandTerm* command = nullptr;
  Builtin builtin = Builtin::none;
  std::optional<Value> constant;

  bool isProperty() const { return !property.empty(); }
  bool isClass() const { return !className.empty(); }
};

class Vocabulary {
 public:
  /// The language and its additions: what is known everywhere.
  static const Vocabulary& core();
  /// That and the standard suite: what is known inside `tell` of an application whose name isn't
  /// known until the script runs.
  static const Vocabulary& standard();
  /// That and an application's own terms, which win. `dictionary` must outlive it.
  explicit Vocabulary(const Dictionary& dictionary);

  /// The longest term that begins at the first token, or null.
  const Term* find(std::span<const Token> tokens) const;

 private:
  friend struct Tables;
  Vocabulary() = default;
  Term& term(std::string_view phrase);
  void add(const Dictionary& dictionary);

  std::unordered_map<std::string, std::vector<Term>> byFirstWord_;  // longest first
};

/// `count`, which `number of` means too.
const CommandTerm& countCommand();

/// The operator phrases: "is greater than or equal to", "does not contain".
struct OperatorPhrase {
  std::size_t words = 0;
  Operator operation{};
};
std::optional<OperatorPhrase> findOperator(std::span<const Token> tokens);
int precedence(Operator operation);
std::string_view sign(Operator operation);  // as messages show it

/// Words of the grammar, which can't name anything; some of them can't begin an expression either.
bool isReserved(std::string_view word);
bool beginsNoExpression(std::string_view word);

/// "first" is 1, "tenth" is 10, "last" and "back" are -1; nothing for other words.
std::optional<int> ordinal(std::string_view word);

}  // namespace AppleScript
