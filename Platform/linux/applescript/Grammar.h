// The parser's state and productions. Expressions.cpp holds what computes a value, Statements.cpp the
// rest; both read tokens from left to right and never go back by more than a phrase.
#pragma once

#include <algorithm>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "Platform/linux/applescript/Scoped.h"
#include "Platform/linux/applescript/Syntax.h"
#include "Platform/linux/applescript/Terminology.h"

namespace AppleScript {

class Grammar {
 public:
  Grammar(std::vector<Token> tokens, Directory& directory);
  std::unique_ptr<Program> script();
  /// The token that is looked at, for an error that no production raised.
  Range here() const { return tokens_[at_].range; }

 private:
  // What a handler (or the top level) calls its own.
  struct Scope {
    Handler* handler = nullptr;  // null: the top level, whose variables are the script's
    std::vector<VariableNode*> uses;
    std::set<std::string> locals;
    std::set<std::string> globals;
  };
  // First words of the labels that a command being read still waits for: they end its values.
  using Stops = std::set<std::string>;
  // The loosest operator that an expression may have, by its precedence.
  static constexpr int whole = 0;       // any
  static constexpr int comparison = 4;  // what "not" takes
  static constexpr int operand = 7;     // what a command takes without parentheses: up to "&"

  // ---- tokens
  const Token& token(std::size_t ahead = 0) const { return tokens_[std::min(at_ + ahead, tokens_.size() - 1)]; }
  std::span<const Token> rest(std::size_t ahead = 0) const;
  bool word(std::string_view text, std::size_t ahead = 0) const { return token(ahead).isWord(text); }
  bool words(std::string_view first, std::string_view second) const { return word(first) && word(second, 1); }
  bool takeWord(std::string_view text);
  bool takeSymbol(std::string_view text);
  void needWord(std::string_view text);
  void needSymbol(std::string_view text);
  void needEndOfLine();
  void skipLines();
  Range since(std::size_t begin) const;
  Range since(const Node& node) const { return since(node.range.begin); }
  const Term* term(std::size_t ahead = 0) const { return vocabulary_->find(rest(ahead)); }
  bool isName(std::size_t ahead = 0) const;
  std::string described() const;
  [[noreturn]] void expected(std::string_view what) const;

  // ---- Expressions.cpp
  Node* expression(int minimum = whole);
  Node* operandOf(Operator operation);
  Node* runningTest(Node* subject, Operator operation);
  Node* prefix(int minimum);
  Node* reference();
  void filter(const std::vector<Node*>& pieces);
  Node* piece();
  Node* possessed(Node* owner);
  Node* simple(bool owned);
  Node* wordPiece(bool owned);
  Node* ordinalPiece(std::int64_t index);
  Node* lazyReference();
  Node* insertion();
  Node* termPiece(const Term& term, bool owned);
  Node* classPiece(const Term& term, bool owned);
  Node* keyed(const Term& term, std::size_t begin);
  Node* namePiece(bool owned);
  Node* call(const Token& name, std::size_t begin);
  Node* construct(const Term& term, std::size_t begin);
  Step* step(const Term& term, Selector::Form form, std::size_t begin);
  Step* everyStep(Selector::Form form, std::size_t begin);
  Node* attached(Node* piece, Node* container);
  Node* index();
  Node* rangeEnd();
  bool startsIndex() const;
  bool startsExpression() const;
  bool isStop(const Token& token) const { return stops_.contains(token.key); }
  bool containerFollows(std::size_t ahead = 0) const;
  Literal* literal(Value value, Range range);
  Literal* number();
  Literal* typeName();
  Node* listOrRecord();
  Node* ownedList();
  bool listIsOwned() const;
  std::optional<std::string> label();
  Node* parenthesized();
  Node* command(const Term& term);
  const ParameterTerm* labelAhead(const CommandNode& command) const;
  void parameter(CommandNode& command, const ParameterTerm& label);
  bool flags(CommandNode& command);
  void addParameter(CommandNode& command, const ParameterTerm& label, Node* value);
  Node* commandValue(const CommandNode& command);
  Node* existsAfter(Node* subject);

  // ---- Statements.cpp
  void topLevel();
  void handlerDefinition();
  void parameters(Handler& handler);
  void propertyDefinition();
  void useClause();
  void declaration();
  Block* block();
  Block* bodyOf(std::string_view construct);
  void endOf(std::string_view construct);
  Node* statement(bool oneLine = false);
  Node* plainStatement();
  Block* blockOf(Node* only);
  Node* branch(bool oneLine);
  Node* repeat();
  void repeatHead(Repeat& loop);
  Node* attempt();
  void errorClauses(Attempt& attempt);
  Node* tell(bool oneLine);
  const Vocabulary* vocabularyOf(const Token& name);
  const Vocabulary* vocabularyAhead();
  Node* attend();
  void aspects(Attend& attend, bool considered);
  Node* timeout();
  Node* terms();
  Node* assignment();
  Node* copying();
  void checkTarget(const Node& target) const;
  Node* giveBack();
  Node* exitRepeat();
  Node* raise();
  VariableNode* variable();
  VariableNode* use(const Token& name);
  void resolveVariables();
  std::size_t sharedSlot(const std::string& name);

  std::vector<Token> tokens_;
  std::size_t at_ = 0;
  std::map<std::size_t, std::size_t> closings_;  // of each "{": its "}"
  Directory& directory_;
  std::unique_ptr<Program> program_ = std::make_unique<Program>();
  const Vocabulary* vocabulary_ = &Vocabulary::core();
  std::map<const Application*, std::unique_ptr<Vocabulary>> vocabularies_;
  std::deque<Scope> scopes_;
  Scope* scope_ = nullptr;
  Stops stops_;
  std::size_t repeats_ = 0;               // loops around the statement being read
  std::map<std::string, bool> declared_;  // properties and globals of the script; true for a property
};

}  // namespace AppleScript
