// Runs a Program. One Evaluator is one run: it owns the script's variables, the text item delimiters and
// what is considered when texts are compared.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "Platform/linux/applescript/Application.h"
#include "Platform/linux/applescript/Coercion.h"
#include "Platform/linux/applescript/References.h"
#include "Platform/linux/applescript/Syntax.h"

namespace AppleScript {

/// What an error carries besides text and number: `error "x" from a partial result b`.
class RaisedError : public ScriptError {
 public:
  RaisedError(int number, std::string text, Value culprit, Value results)
      : ScriptError(number, std::move(text)), from(std::move(culprit)), partial(std::move(results)) {}
  Value from;
  Value partial;
};

class Evaluator {
 public:
  Evaluator(const Program& program, Directory& applications);
  ~Evaluator();
  /// Runs the `run` handler. Throws ScriptError.
  Value run(const std::vector<std::string>& arguments);
  /// The part of the source that was at work last: where an error that came out of `run` arose.
  Range place() const { return place_; }

 private:
  struct Frame {
    std::vector<Value> slots;
    Value target;  // of the innermost `tell`; nothing stands for the script
    Value result;  // of the last statement
  };
  enum class Flow { onward, exitRepeat, giveBack };
  // A value, and how many levels of lists around objects it is: `name of every note of every folder`
  // asks each note, two levels down.
  struct Spread {
    Value value;
    int depth = 0;
  };

  // ---- Evaluator.cpp: expressions
  Value evaluate(const Node& node);
  Value valueOf(const Node& node);  // as evaluate, but something must come out
  Value variable(const VariableNode& node);
  Value& slot(const VariableNode& node);
  Value chain(const Chain& node);
  bool decides(const Value& left, Operator operation);
  Value apply(Operator operation, const Value& left, const Value& right);
  Value arithmetic(Operator operation, const Value& left, const Value& right);
  Value concatenation(const Chain& node, std::size_t& link, Value left);
  bool compare(Operator operation, const Value& left, const Value& right);
  bool includes(const Value& whole, const Value& part);
  std::string delimiter() const;
  Value scriptProperty(const std::string& name, const std::string& shown);
  Spread spread(const Node& node);
  Spread spreadStep(const Step& node);
  Spread base(const Node* container);
  Value each(const Value& value, int depth, const Selector& selector);
  Selector selector(const Step& node);
  std::string conditionText(const Node& node);
  Value it() const;
  Value properties(const PropertiesNode& node);
  Value insertion(const InsertionNode& node);
  Value call(const CallNode& node);
  Value invoke(const Handler& handler, std::vector<Value> arguments);
  Value lazily(const LazyNode& node);
  Value application(const ApplicationNode& node);
  Value file(const FileNode& node);
  Reading reading() const { return {delimiters_}; }

  // ---- Commands.cpp
  Value command(const CommandNode& node);
  Value builtin(const CommandNode& node);
  Value applicationCommand(const CommandNode& node);
  Value parameter(std::string_view label, const Node& value);
  std::shared_ptr<Application> receiver(const Value& direct);
  Value count(const CommandNode& node);
  bool exists(const CommandNode& node);
  Value offset(const CommandNode& node);
  Value round(const CommandNode& node);
  Value randomNumber(const CommandNode& node);
  Value shellScript(const CommandNode& node);
  Value delay(const CommandNode& node);
  const Node* parameterNode(const CommandNode& node, std::string_view label) const;

  // ---- Execution.cpp: statements
  Flow execute(const Block& block);
  Flow execute(const Node& statement);
  Flow branch(const Branch& node);
  Flow repeat(const Repeat& node);
  Flow pass(const Repeat& node, bool& goesOn);
  Flow repeatItems(const Repeat& node);
  Flow repeatCounting(const Repeat& node);
  Flow attempt(const Attempt& node);
  Flow tell(const Tell& node);
  Flow attend(const Attend& node);
  [[noreturn]] void raise(const Raise& node);
  void assign(const Assign& node);
  void assign(const Node& target, const Value& value);
  void assignStep(const Step& target, const Value& value);
  void assignEach(const Value& base, int depth, const Selector& selector, const Value& value);
  void insert(const InsertionNode& target, const Value& value);
  void noteNesting(const Value& taker);
  [[noreturn]] void fail(const Node& node, int number, const std::string& text);

  const Program& program_;
  Directory& applications_;
  std::vector<Value> shared_;
  Frame* frame_ = nullptr;
  Value script_;
  Value delimiters_;
  Attention attention_;
  Spread owner_;  // what the `owner` leaves of the `{a, b} of x` being evaluated stand for
  Range place_;
  struct Kept {
    std::shared_ptr<const std::string> text;
    std::string key;
  };
  Kept kept_;  // what was looked for last; void when the attention changes
  // Lists and records that were put into others, and may so have come to hold themselves.
  std::vector<std::weak_ptr<List>> nestedLists_;
  std::vector<std::weak_ptr<Record>> nestedRecords_;
};

}  // namespace AppleScript
