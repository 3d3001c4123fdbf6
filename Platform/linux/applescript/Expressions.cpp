// Expressions: operators by precedence, references read from the outside in, commands with their labels.
#include <algorithm>
#include <cstdlib>
#include <optional>

#include "Platform/Text.h"
#include "Platform/linux/applescript/Grammar.h"
#include "Platform/linux/applescript/Stack.h"

namespace AppleScript {

namespace {

// Where a piece keeps what it belongs to; null for one that belongs to something already, or to nothing.
Node** openContainer(Node* piece) {
  Node** container = nullptr;
  if (piece->kind == Node::Kind::step) container = &static_cast<Step*>(piece)->container;
  if (piece->kind == Node::Kind::properties) container = &static_cast<PropertiesNode*>(piece)->container;
  if (piece->kind == Node::Kind::call) container = &static_cast<CallNode*>(piece)->container;
  return container && !*container ? container : nullptr;
}

}  // namespace

Node* Grammar::expression(int minimum) {
  checkStack();
  Node* left = prefix(minimum);
  Chain* chain = nullptr;
  for (;;) {
    const auto phrase = findOperator(rest());
    if (!phrase || precedence(phrase->operation) < minimum) break;
    at_ += phrase->words;
    if (Node* test = runningTest(left, phrase->operation)) {
      left = test;
      chain = nullptr;
      continue;
    }
    Node* right = operandOf(phrase->operation);
    if (!chain) {
      chain = program_->make<Chain>(left->range);
      chain->first = std::exchange(left, chain);
    }
    chain->links.push_back({phrase->operation, right});
    chain->range = since(*chain);
  }
  return left;
}

Node* Grammar::operandOf(Operator operation) {
  if (operation == Operator::coerce) return typeName();
  return expression(precedence(operation) + (operation == Operator::power ? 0 : 1));
}

// `application "Notes" is running` asks for a property.
Node* Grammar::runningTest(Node* subject, Operator operation) {
  if ((operation != Operator::equal && operation != Operator::notEqual) || !word("running")) return nullptr;
  if (word("of", 1) || word("in", 1)) return nullptr;
  Step* running = step(*term(), Selector::Form::property, token().range.begin);
  ++at_;
  running->container = subject;
  if (operation == Operator::equal) return running;
  NotNode* negation = program_->make<NotNode>(since(*subject));
  negation->operand = running;
  return negation;
}

Node* Grammar::prefix(int minimum) {
  checkStack();
  const std::size_t begin = token().range.begin;
  if (word("not")) {
    if (minimum >= comparison) expected("expression");
    ++at_;
    NotNode* node = program_->make<NotNode>(token().range);
    node->operand = expression(comparison);
    node->range = since(begin);
    return node;
  }
  if (takeSymbol("+")) return prefix(operand);
  if (!takeSymbol("-")) return reference();
  Node* value = prefix(operand);
  if (value->kind == Node::Kind::literal) {
    const Value& number = static_cast<Literal*>(value)->value;
    if (auto integer = number.as<std::int64_t>()) return literal(-*integer, since(begin));
    if (auto real = number.as<double>()) return literal(-*real, since(begin));
  }
  NegateNode* node = program_->make<NegateNode>(since(begin));
  node->operand = value;
  return node;
}

// `a of b of c's d whose e`: pieces from left to right, each in the next.
Node* Grammar::reference() {
  std::vector<Node*> pieces = {piece()};
  while (containerFollows() && openContainer(pieces.back())) {
    ++at_;
    Node* container = piece();
    attached(pieces.back(), container);
    pieces.push_back(container);
  }
  for (Node* outer : pieces) outer->range = since(*outer);
  if (word("whose") || word("where")) filter(pieces);
  return existsAfter(pieces.front());
}

// A condition belongs to the elements named last.
void Grammar::filter(const std::vector<Node*>& pieces) {
  const auto target = std::find_if(pieces.rbegin(), pieces.rend(), [](const Node* node) {
    return node->kind == Node::Kind::step && static_cast<const Step*>(node)->filterable;
  });
  if (target == pieces.rend()) expected("end of line, etc.");
  ++at_;
  Step* elements = static_cast<Step*>(*target);
  elements->filter = expression();
  elements->filterable = false;
  for (Node* outer : pieces) outer->range = since(*outer);
}

// `note "x" of f exists`
Node* Grammar::existsAfter(Node* subject) {
  const Term* verb = word("exists") ? term() : nullptr;
  if (!verb || verb->builtin != Builtin::exists) return subject;
  ++at_;
  CommandNode* test = program_->make<CommandNode>(since(*subject));
  test->term = verb->command;
  test->builtin = Builtin::exists;
  test->direct = subject;
  return test;
}

bool Grammar::containerFollows(std::size_t ahead) const {
  return (word("of", ahead) || word("in", ahead)) && !isStop(token(ahead));
}

Node* Grammar::piece() {
  Node* result = simple(false);
  while (token().is("'s")) {
    ++at_;
    result = possessed(result);
  }
  return result;
}

Node* Grammar::possessed(Node* owner) { return attached(simple(true), owner); }

// Gives a piece what it belongs to.
Node* Grammar::attached(Node* part, Node* container) {
  Node** const place = openContainer(part);
  if (!place) throw SyntaxError(part->range, "Expected property, etc. but found expression.");
  *place = container;
  return part;
}

Node* Grammar::simple(bool owned) {
  checkStack();
  using Kind = Token::Kind;
  const Token& t = token();
  switch (t.kind) {
    case Kind::integer:
    case Kind::real:
      return number();
    case Kind::string:
      ++at_;
      return literal(t.text, t.range);
    case Kind::ordinal:
      return ++at_, ordinalPiece(std::strtoll(t.text.c_str(), nullptr, 10));
    case Kind::barred:
      return namePiece(owned);
    case Kind::word:
      return wordPiece(owned);
    default:
      break;
  }
  if (t.is("(")) return parenthesized();
  if (t.is("{")) return owned || listIsOwned() ? ownedList() : listOrRecord();
  expected("expression");
}

Node* Grammar::wordPiece(bool owned) {
  if (takeWord("the")) return simple(owned);
  const std::size_t begin = token().range.begin;
  const Term* known = term();
  if (known && known->words.size() > 1) return termPiece(*known, owned);
  if (words("current", "application")) return at_ += 2, program_->make<Leaf>(Node::Kind::me, since(begin));
  if (takeWord("every")) return everyStep(Selector::Form::every, begin);
  if (takeWord("some")) return everyStep(Selector::Form::some, begin);
  if (takeWord("middle")) return everyStep(Selector::Form::middle, begin);
  if (const auto position = ordinal(token().key)) return ++at_, ordinalPiece(*position);
  if (takeWord("it")) return program_->make<Leaf>(Node::Kind::it, since(begin));
  if (takeWord("me")) return program_->make<Leaf>(Node::Kind::me, since(begin));
  if (takeWord("its")) return possessed(program_->make<Leaf>(Node::Kind::it, since(begin)));
  if (takeWord("my")) return possessed(program_->make<Leaf>(Node::Kind::me, since(begin)));
  if (takeWord("result")) return program_->make<Leaf>(Node::Kind::result, since(begin));
  if (words("a", "reference") || word("reference")) return lazyReference();
  if (word("beginning") || word("end") || word("before") || word("after") || word("behind")) return insertion();
  if (known) return termPiece(*known, owned);
  if (isReserved(token().key)) expected("expression");
  return namePiece(owned);
}

Node* Grammar::ordinalPiece(std::int64_t position) {
  const Token& before = tokens_[at_ - 1];
  Step* elements = everyStep(Selector::Form::index, before.range.begin);
  elements->from = literal(position, before.range);
  return elements;
}

Node* Grammar::lazyReference() {
  const std::size_t begin = token().range.begin;
  takeWord("a");
  needWord("reference");
  needWord("to");
  LazyNode* node = program_->make<LazyNode>(token().range);
  node->reference = reference();
  node->range = since(begin);
  return node;
}

Node* Grammar::insertion() {
  const std::size_t begin = token().range.begin;
  const std::string place = token().key;
  ++at_;
  InsertionNode* node = program_->make<InsertionNode>(since(begin));
  node->place = place == "beginning" ? Insertion::Place::beginning
                : place == "end"     ? Insertion::Place::end
                : place == "before"  ? Insertion::Place::before
                                     : Insertion::Place::after;
  const bool beside = place != "beginning" && place != "end";
  if (beside || containerFollows()) {
    if (!beside) ++at_;
    node->object = reference();
  }
  node->range = since(begin);
  return node;
}

// A term may be several things; what follows it tells which.
Node* Grammar::termPiece(const Term& known, bool owned) {
  const std::size_t begin = token().range.begin;
  const std::size_t size = known.words.size();
  const bool owns = owned || word("of", size) || (word("in", size) && known.isProperty());
  if (known.isClass()) return classPiece(known, owned);
  if (known.isProperty() && (owns || !known.constant)) {
    if (known.command && !owns && startsExpression()) return command(known);
    at_ += size;
    return step(known, Selector::Form::property, begin);
  }
  if (known.constant) {
    at_ += size;
    return literal(*known.constant, since(begin));
  }
  return command(known);
}

Node* Grammar::classPiece(const Term& known, bool owned) {
  const std::size_t begin = token().range.begin;
  at_ += known.words.size();
  if (Node* made = construct(known, begin)) return made;
  if (Node* element = keyed(known, begin)) return element;
  if (known.plural) {
    Step* all = step(known, Selector::Form::every, begin);
    all->filterable = true;
    return all;
  }
  if (known.isProperty()) return step(known, Selector::Form::property, begin);
  if (known.command) {
    at_ -= known.words.size();
    return command(known);
  }
  if (!owned && !containerFollows()) return literal(TypeName{known.className}, since(begin));
  if (owned || known.className != "number") return step(known, Selector::Form::every, begin);
  CommandNode* counting = program_->make<CommandNode>(since(begin));  // number of x
  counting->term = &countCommand();
  counting->builtin = Builtin::count;
  ++at_;
  counting->direct = expression(operand);
  counting->range = since(begin);
  return counting;
}

// `note 1`, `note "x"`, `note id 5`, `items 2 thru 3`; null where no key follows.
Node* Grammar::keyed(const Term& known, std::size_t begin) {
  using Form = Selector::Form;
  const bool byWord = word("id") || word("named") || word("index");
  if (byWord) {
    const Form form = word("id") ? Form::id : word("named") ? Form::named : Form::index;
    ++at_;
    if (!startsIndex()) {
      --at_;
      return nullptr;
    }
    Step* element = step(known, form, begin);
    element->from = index();
    element->range = since(begin);
    return element;
  }
  if (!startsIndex()) return nullptr;
  Step* element = step(known, Form::index, begin);
  element->from = index();
  if (takeWord("thru") || takeWord("through")) {
    element->form = Form::range;
    element->to = rangeEnd();
  }
  element->filterable = element->form == Form::range;
  element->range = since(begin);
  return element;
}

// application "x", POSIX file "x", date "x": what is made from a text. Null for another class.
Node* Grammar::construct(const Term& known, std::size_t begin) {
  if (!startsIndex() || known.plural) return nullptr;
  if (known.shownClass == "application" || known.shownClass == "app") {
    ApplicationNode* node = program_->make<ApplicationNode>(since(begin));
    node->name = index();
    node->range = since(begin);
    return node;
  }
  if (known.shownClass == "POSIX file" || known.shownClass == "alias" || known.shownClass == "file") {
    if (known.shownClass == "file" && vocabulary_ != &Vocabulary::core()) return nullptr;  // an element there
    FileNode* node = program_->make<FileNode>(since(begin));
    node->alias = known.shownClass == "alias";
    node->path = index();
    node->range = since(begin);
    return node;
  }
  if (known.shownClass != "date") return nullptr;
  DateNode* node = program_->make<DateNode>(since(begin));
  const Token& text = token();
  node->text = index();
  if (text.kind == Token::Kind::string) {
    try {
      asDate(text.text);
    } catch (const ScriptError&) {
      throw SyntaxError(text.range, "Invalid date and time date " + text.text + ".", -30720);
    }
  }
  node->range = since(begin);
  return node;
}

Step* Grammar::step(const Term& known, Selector::Form form, std::size_t begin) {
  Step* result = program_->make<Step>(since(begin));
  result->form = form;
  const bool property = form == Selector::Form::property;
  result->name = property ? known.property : known.className;
  result->shown = property ? known.property : known.shownClass;
  return result;
}

Step* Grammar::everyStep(Selector::Form form, std::size_t begin) {
  takeWord("the");
  const Term* known = term();
  if (!known || !known->isClass()) expected("class name");
  at_ += known->words.size();
  Step* result = step(*known, form, begin);
  result->filterable = true;
  return result;
}

Node* Grammar::namePiece(bool owned) {
  const Token& name = token();
  ++at_;
  if (token().is("(")) return call(name, name.range.begin);
  if (!owned && !(word("of") && containerFollows())) return use(name);
  Step* property = program_->make<Step>(name.range);
  property->form = Selector::Form::userProperty;
  property->name = name.key;
  property->shown = name.text;
  return property;
}

Node* Grammar::call(const Token& name, std::size_t begin) {
  CallNode* node = program_->make<CallNode>(since(begin));
  node->name = name.key;
  node->shown = name.text;
  needSymbol("(");
  Scoped stops(stops_, Stops{});
  while (!token().is(")")) {
    node->arguments.push_back(expression());
    if (!takeSymbol(",")) break;
    if (token().is(")")) expected("expression");
  }
  needSymbol(")");
  node->range = since(begin);
  return node;
}

Node* Grammar::index() {
  if (token().kind == Token::Kind::string) return simple(false);
  if (takeSymbol("-")) {
    const std::size_t begin = tokens_[at_ - 1].range.begin;
    return literal(-asInteger(number()->value), since(begin));
  }
  if (token().is("(")) return parenthesized();
  if (token().kind == Token::Kind::integer || token().kind == Token::Kind::real) return number();
  const Token& name = token();
  ++at_;
  return token().is("(") ? call(name, name.range.begin) : use(name);
}

Node* Grammar::rangeEnd() {
  const Range range = token().range;
  if (takeWord("end")) return literal(-1, range);
  if (takeWord("beginning")) return literal(1, range);
  if (!startsIndex()) expected("expression");
  return index();
}

// What may stand as a key right behind a class name.
bool Grammar::startsIndex() const {
  using Kind = Token::Kind;
  const Token& t = token();
  if (t.kind == Kind::integer || t.kind == Kind::string || t.kind == Kind::barred || t.is("(")) return true;
  if (t.is("-")) return token(1).kind == Kind::integer && !token(1).spaceBefore && t.spaceBefore;
  return isName() && !isStop(t);  // `close windows saving no`
}

bool Grammar::startsExpression() const {
  using Kind = Token::Kind;
  const Token& t = token();
  if (t.is("-")) return t.spaceBefore && !token(1).spaceBefore && !token(1).endsLine();
  if (t.kind == Kind::symbol) return t.is("(") || t.is("{");
  if (t.kind != Kind::word) return !t.endsLine();
  if (const Term* known = term(); known && known->words.size() > 1) return true;
  return !beginsNoExpression(t.key) && !findOperator(rest());
}

Literal* Grammar::literal(Value value, Range range) {
  Literal* node = program_->make<Literal>(range);
  node->value = std::move(value);
  return node;
}

Literal* Grammar::number() {
  const Token& t = token();
  ++at_;
  const double value = std::strtod(t.text.c_str(), nullptr);
  if (t.kind == Token::Kind::real || value > largestInteger) return literal(value, t.range);
  return literal(static_cast<std::int64_t>(value), t.range);
}

Literal* Grammar::typeName() {
  takeWord("the");
  const Range range = token().range;
  const Term* known = term();
  if (!known || !known->isClass()) expected("class name");
  at_ += known->words.size();
  return literal(TypeName{known->className}, since(range.begin));
}

Node* Grammar::parenthesized() {
  needSymbol("(");
  Scoped stops(stops_, Stops{});
  Node* inside = expression();
  needSymbol(")");
  return inside;
}

// The label of a record's entry, when one stands here: a term, or any name, and a colon.
std::optional<std::string> Grammar::label() {
  const Term* known = term();
  const std::size_t size = known ? known->words.size() : 1;
  if (!token(size).is(":")) return std::nullopt;
  if (!known && token().kind != Token::Kind::barred && !isName()) return std::nullopt;
  const std::string name = !known ? token().key : known->isProperty() ? known->property : Text::join(known->words, " ");
  at_ += size + 1;
  return name;
}

Node* Grammar::listOrRecord() {
  const std::size_t begin = token().range.begin;
  needSymbol("{");
  Scoped stops(stops_, Stops{});
  ListNode* list = program_->make<ListNode>(token().range);
  RecordNode* record = nullptr;
  while (!token().is("}")) {
    const auto name = label();
    if (name && !record && list->items.empty()) record = program_->make<RecordNode>(token().range);
    if (!name != !record) expected("“}”");
    Node* value = expression();
    if (record)
      record->fields.emplace_back(*name, value);
    else
      list->items.push_back(value);
    if (!takeSymbol(",")) break;
    if (token().is("}")) expected("expression");
  }
  if (!token().is("}")) expected("“,” or “}”");
  ++at_;
  Node* result = record ? static_cast<Node*>(record) : list;
  result->range = since(begin);
  return result;
}

bool Grammar::listIsOwned() const {
  const auto closing = closings_.find(at_);
  return closing != closings_.end() && containerFollows(closing->second + 1 - at_);
}

// `{name, id of f, b}` that stands in front of `of x`. It may also follow: x's {name, id}.
Node* Grammar::ownedList() {
  const std::size_t begin = token().range.begin;
  PropertiesNode* list = program_->make<PropertiesNode>(token().range);
  needSymbol("{");
  Scoped stops(stops_, Stops{});
  do {
    Node* inner = simple(true);
    list->items.push_back(inner);
    while (containerFollows()) {
      ++at_;
      Node* container = simple(true);
      attached(inner, container);
      inner = container;
    }
    attached(inner, program_->make<Leaf>(Node::Kind::owner, token().range));
  } while (takeSymbol(","));
  if (!token().is("}")) expected("“,” or “}”");
  ++at_;
  list->range = since(begin);
  return list;
}

// ---- Commands

Node* Grammar::command(const Term& known) {
  CommandNode* node = program_->make<CommandNode>(token().range);
  const std::size_t begin = token().range.begin;
  at_ += known.words.size();
  node->term = known.command;
  node->builtin = known.builtin;
  const bool counted = (known.builtin == Builtin::count || known.builtin == Builtin::exists) && takeWord("of");
  if (counted && !startsExpression()) expected("expression");
  if (known.command->takesDirect && !labelAhead(*node) && startsExpression()) node->direct = commandValue(*node);
  for (;;) {
    if (const ParameterTerm* label = labelAhead(*node))
      parameter(*node, *label);
    else if (!flags(*node))
      break;
  }
  if (known.builtin != Builtin::none)
    for (const ParameterTerm& p : known.command->parameters)
      if (p.required && std::none_of(node->parameters.begin(), node->parameters.end(),
                                     [&](const auto& given) { return given.first == p.label; }))
        expected("“" + p.label + "”");
  node->range = since(begin);
  return node;
}

const ParameterTerm* Grammar::labelAhead(const CommandNode& node) const {
  const ParameterTerm* best = nullptr;
  for (const ParameterTerm& p : node.term->parameters) {
    std::size_t at = 0;
    bool matches = true;
    for (const std::string& part : Text::split(p.label, ' ', true)) matches = matches && word(part, at++);
    if (matches && (!best || p.label.size() > best->label.size())) best = &p;
  }
  return best;
}

Node* Grammar::commandValue(const CommandNode& node) {
  Stops stops = stops_;
  for (const ParameterTerm& p : node.term->parameters) {
    const bool given = std::any_of(node.parameters.begin(), node.parameters.end(),
                                   [&](const auto& entry) { return entry.first == p.label; });
    if (!given) stops.insert(p.label.substr(0, p.label.find(' ')));
  }
  Scoped scoped(stops_, std::move(stops));
  return expression(node.builtin == Builtin::get ? whole : operand);
}

void Grammar::addParameter(CommandNode& node, const ParameterTerm& label, Node* value) {
  for (const auto& given : node.parameters)
    if (given.first == label.label)
      throw SyntaxError(value->range, "Parameter " + label.label + " is specified more than once.",
                        ErrorNumber::parameterTwice);
  node.parameters.emplace_back(label.label, value);
}

void Grammar::parameter(CommandNode& node, const ParameterTerm& label) {
  at_ += Text::split(label.label, ' ', true).size();
  // The label counts as given while its value is read, so that `in x of y` of `offset` reads on.
  addParameter(node, label, program_->make<Leaf>(Node::Kind::it, token().range));
  Node* value = label.label == "new" && node.builtin == Builtin::make ? typeName() : commandValue(node);
  node.parameters.back().second = value;
}

// `with a, b and c`, `without d`: parameters that are true or false.
bool Grammar::flags(CommandNode& node) {
  if (!word("with") && !word("without")) return false;
  const bool value = word("with");
  if (node.term->parameters.empty()) return false;
  for (;;) {
    ++at_;
    const ParameterTerm* label = labelAhead(node);
    if (!label || !label->flag) expected("parameter name");
    const Range range = token().range;
    at_ += Text::split(label->label, ' ', true).size();
    addParameter(node, *label, literal(value, range));
    if (!word("and") && !token().is(",")) return true;
    ++at_;
    const bool more = labelAhead(node) != nullptr;  // else the sign is of an expression around us
    --at_;
    if (!more) return true;
  }
}

}  // namespace AppleScript
