// A parsed script. Nodes are records with the range of the source they stand for. A Program owns all of
// its nodes in one row; they point to each other freely, and go away without recursion.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Platform/linux/applescript/Coercion.h"
#include "Platform/linux/applescript/Lexer.h"
#include "Platform/linux/applescript/References.h"

namespace AppleScript {

struct Node {
  enum class Kind {
    // expressions
    literal,
    variable,
    list,
    properties,
    owner,
    record,
    chain,
    negate,
    logicalNot,
    step,
    insertion,
    call,
    command,
    lazy,
    it,
    me,
    result,
    application,
    file,
    date,
    // statements
    evaluate,
    assign,
    branch,
    repeat,
    exitRepeat,
    giveBack,
    raise,
    attempt,
    tell,
    attend,
    block,
  };
  Node(Kind nodeKind, Range nodeRange) : kind(nodeKind), range(nodeRange) {}
  virtual ~Node() = default;
  const Kind kind;
  Range range;
};

template <Node::Kind K>
struct NodeOf : Node {
  explicit NodeOf(Range nodeRange) : Node(K, nodeRange) {}
};

template <class T>
const T& as(const Node& node) {
  return static_cast<const T&>(node);
}

/// A node without parts: it, me, result, owner, exit repeat.
struct Leaf : Node {
  using Node::Node;
};

// ---- Expressions

struct Literal : NodeOf<Node::Kind::literal> {
  using NodeOf::NodeOf;
  Value value;
};

/// Where a variable lives: in the frame of its handler, or with the script (properties, globals).
struct VariableNode : NodeOf<Node::Kind::variable> {
  using NodeOf::NodeOf;
  std::string name;   // the key
  std::string shown;  // as written
  bool shared = false;
  std::size_t slot = 0;
};

struct ListNode : NodeOf<Node::Kind::list> {
  using NodeOf::NodeOf;
  std::vector<Node*> items;
};

/// `{a, b} of container`: a list of what each item finds in the one container, which is evaluated once.
/// The items end in an `owner` leaf, which stands for it.
struct PropertiesNode : NodeOf<Node::Kind::properties> {
  using NodeOf::NodeOf;
  std::vector<Node*> items;
  Node* container = nullptr;
};

struct RecordNode : NodeOf<Node::Kind::record> {
  using NodeOf::NodeOf;
  std::vector<std::pair<std::string, Node*>> fields;
};

enum class Operator {
  logicalOr,
  logicalAnd,
  equal,
  notEqual,
  less,
  lessOrEqual,
  greater,
  greaterOrEqual,
  contains,
  notContains,
  isIn,
  notIn,
  startsWith,
  notStartsWith,
  endsWith,
  notEndsWith,
  concatenate,
  coerce,
  add,
  subtract,
  multiply,
  divide,
  divideWhole,
  remainder,
  power,
};

/// Operators applied one after the other: ((first op a) op b) op c. Long sums and concatenations are
/// one node, whatever their length.
struct Chain : NodeOf<Node::Kind::chain> {
  using NodeOf::NodeOf;
  struct Link {
    Operator operation;
    Node* operand;
  };
  Node* first = nullptr;
  std::vector<Link> links;
};

struct NegateNode : NodeOf<Node::Kind::negate> {
  using NodeOf::NodeOf;
  Node* operand = nullptr;
};
struct NotNode : NodeOf<Node::Kind::logicalNot> {
  using NodeOf::NodeOf;
  Node* operand = nullptr;
};

/// `form of container`: a property or elements of something; of the target where `container` is null.
struct Step : NodeOf<Node::Kind::step> {
  using NodeOf::NodeOf;
  Selector::Form form = Selector::Form::property;
  std::string name;   // canonical: property, or class in the singular
  std::string shown;  // as the dictionary names it: the plural where that was written
  Node* from = nullptr;
  Node* to = nullptr;
  Node* filter = nullptr;
  Node* container = nullptr;
  bool filterable = false;  // written as every, first, a plural ...: a `whose` may follow
};

struct InsertionNode : NodeOf<Node::Kind::insertion> {
  using NodeOf::NodeOf;
  Insertion::Place place = Insertion::Place::end;
  Node* object = nullptr;  // null: of the target
};

/// f(x), of the script for `my f(x)` and `f(x) of me`, else of the target.
struct CallNode : NodeOf<Node::Kind::call> {
  using NodeOf::NodeOf;
  std::string name;
  std::string shown;
  std::vector<Node*> arguments;
  Node* container = nullptr;
};

enum class Builtin {
  none,  // the application's
  get,
  count,
  exists,
  make,
  log,
  delay,
  offset,
  round,
  randomNumber,
  currentDate,
  systemAttribute,
  asciiCharacter,
  asciiNumber,
  shellScript,
};

struct CommandNode : NodeOf<Node::Kind::command> {
  using NodeOf::NodeOf;
  const CommandTerm* term = nullptr;
  Builtin builtin = Builtin::none;
  Node* direct = nullptr;
  std::vector<std::pair<std::string, Node*>> parameters;
};

struct LazyNode : NodeOf<Node::Kind::lazy> {  // a reference to x
  using NodeOf::NodeOf;
  Node* reference = nullptr;
};

/// application x, POSIX file x, date x: something made from a text.
struct ApplicationNode : NodeOf<Node::Kind::application> {
  using NodeOf::NodeOf;
  Node* name = nullptr;
};
struct FileNode : NodeOf<Node::Kind::file> {
  using NodeOf::NodeOf;
  Node* path = nullptr;
  bool alias = false;
};
struct DateNode : NodeOf<Node::Kind::date> {
  using NodeOf::NodeOf;
  Node* text = nullptr;
};

// ---- Statements

struct Block : NodeOf<Node::Kind::block> {
  using NodeOf::NodeOf;
  std::vector<Node*> statements;
};

struct Evaluate : NodeOf<Node::Kind::evaluate> {  // an expression or a command
  using NodeOf::NodeOf;
  Node* expression = nullptr;
};

struct Assign : NodeOf<Node::Kind::assign> {  // set, copy
  using NodeOf::NodeOf;
  Node* target = nullptr;  // a variable, a step, an insertion, or a list of targets
  Node* value = nullptr;
  bool copies = false;
};

struct Branch : NodeOf<Node::Kind::branch> {  // if
  using NodeOf::NodeOf;
  std::vector<std::pair<Node*, Block*>> cases;
  Block* otherwise = nullptr;
};

struct Repeat : NodeOf<Node::Kind::repeat> {
  using NodeOf::NodeOf;
  enum class Form { forever, times, whileTrue, untilTrue, counting, items };
  Form form = Form::forever;
  VariableNode* variable = nullptr;
  Node* first = nullptr;  // the condition, the number, the list, or where to begin
  Node* last = nullptr;
  Node* step = nullptr;
  Block* body = nullptr;
};

struct GiveBack : NodeOf<Node::Kind::giveBack> {  // return
  using NodeOf::NodeOf;
  Node* value = nullptr;
};

struct Raise : NodeOf<Node::Kind::raise> {  // error
  using NodeOf::NodeOf;
  Node* text = nullptr;
  Node* number = nullptr;
  Node* from = nullptr;
  Node* partial = nullptr;
};

struct Attempt : NodeOf<Node::Kind::attempt> {  // try
  using NodeOf::NodeOf;
  Block* body = nullptr;
  Block* handler = nullptr;  // null: errors are passed over
  VariableNode* text = nullptr;
  VariableNode* number = nullptr;
  VariableNode* from = nullptr;
  VariableNode* partial = nullptr;
};

struct Tell : NodeOf<Node::Kind::tell> {
  using NodeOf::NodeOf;
  Node* target = nullptr;
  Block* body = nullptr;
};

struct Attend : NodeOf<Node::Kind::attend> {  // considering, ignoring
  using NodeOf::NodeOf;
  struct Change {
    bool Attention::*aspect;
    bool considered;
  };
  std::vector<Change> changes;
  Block* body = nullptr;
};

// ---- The whole

struct Handler {
  std::string name;
  std::vector<VariableNode*> parameters;
  bool listParameter = false;  // on run {a, b}
  Block* body = nullptr;
  std::size_t slots = 0;
};

class Program {
 public:
  template <class T, class... Arguments>
  T* make(Arguments&&... arguments) {
    auto node = std::make_unique<T>(std::forward<Arguments>(arguments)...);
    T* result = node.get();
    nodes_.push_back(std::move(node));
    return result;
  }

  std::map<std::string, Handler> handlers;                 // by key; "run" is the script's own or the top level
  std::map<std::string, std::size_t> shared;               // slots of properties and globals
  std::vector<std::pair<std::size_t, Node*>> properties;   // their first values, in order
  std::vector<std::shared_ptr<Application>> applications;  // whose terms the nodes point into

 private:
  std::vector<std::unique_ptr<Node>> nodes_;
};

}  // namespace AppleScript
