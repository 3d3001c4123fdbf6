// Expressions. Each evaluation leaves in `place_` what was at work last, so that an error knows where
// it arose without a handler on every level.
#include "Platform/linux/applescript/Evaluator.h"

#include <algorithm>
#include <cmath>

#include "Platform/linux/applescript/Scoped.h"
#include "Platform/linux/applescript/Stack.h"
#include "Platform/linux/applescript/Terminology.h"

namespace AppleScript {

namespace {

using Kind = Node::Kind;

// Integers stay integers as long as they are small; what leaves their range goes on as a real.
Value number(double result, bool whole) {
  if (!std::isfinite(result))
    throw ScriptError(ErrorNumber::resultTooLarge, "The result of a numeric operation was too large.");
  if (whole && std::fabs(result) <= largestInteger) return static_cast<std::int64_t>(result);
  return result;
}

Value calculated(Operator operation, const Value& left, const Value& right) {
  const Value a = coerced(left, "number");
  const Value b = coerced(right, "number");
  const bool whole = a.as<std::int64_t>() && b.as<std::int64_t>();
  const double x = asReal(a), y = asReal(b);
  const bool divides =
      operation == Operator::divide || operation == Operator::divideWhole || operation == Operator::remainder;
  if (divides && y == 0) throw ScriptError(ErrorNumber::divideByZero, "Can’t divide " + sourceForm(a) + " by zero.");
  switch (operation) {
    case Operator::add:
      return number(x + y, whole);
    case Operator::subtract:
      return number(x - y, whole);
    case Operator::multiply:
      return number(x * y, whole);
    case Operator::divide:
      return number(x / y, false);
    case Operator::divideWhole:
      return number(std::trunc(x / y), true);
    case Operator::remainder:
      return number(std::fmod(x, y), whole);
    default:
      return number(std::pow(x, y), false);
  }
}

// Beyond thirty thousand years a date stays where it is: a loop that adds on and on must not overflow.
Value shifted(Date date, double seconds) {
  constexpr double most = 1e12;
  const double sum = static_cast<double>(date.seconds) + std::nearbyint(seconds);
  return Date{static_cast<std::int64_t>(std::clamp(sum, -most, most))};
}

bool startsWith(const Value& whole, const Value& part, const Attention& attention, bool atEnd) {
  if (auto list = whole.list()) {
    const List single = {part};
    const List& other = part.list() ? *part.list() : single;
    if (other.size() > list->size()) return false;
    const std::size_t from = atEnd ? list->size() - other.size() : 0;
    for (std::size_t i = 0; i < other.size(); ++i)
      if (!equal(resolved((*list)[from + i]), resolved(other[i]), attention)) return false;
    return true;
  }
  const std::string a = comparisonKey(asText(whole), attention);
  const std::string b = comparisonKey(asText(part), attention);
  return atEnd ? a.ends_with(b) : a.starts_with(b);
}

int ordering(const Value& left, const Value& right, const Attention& attention) {
  const auto sign = [](auto difference) { return (difference > 0) - (difference < 0); };
  if (isNumber(left)) return sign(asReal(left) - asReal(coerced(right, "number")));
  if (auto date = left.date()) return sign(date->seconds - asDate(right).seconds);
  if (!left.text() && !left.list()) coerced(left, "number");  // for the error of what has no order
  return sign(comparisonKey(asText(left), attention).compare(comparisonKey(asText(right), attention)));
}

Record merged(const Record& first, const Record& second) {
  Record result = first;
  for (const auto& entry : second) {
    bool known = false;
    for (const auto& own : first) known = known || own.first == entry.first;
    if (!known) result.push_back(entry);
  }
  return result;
}

// A rich text as its text, and a list of them as texts: the first of a list tells what all of it is.
Value plain(const Value& value) {
  if (const ObjectPtr object = value.object()) {
    const Value inner = plainValueOf(object);
    return inner.isNothing() ? value : inner;
  }
  const List* list = value.list();
  const ObjectPtr first = list && !list->empty() ? list->front().object() : nullptr;
  if (!first || plainValueOf(first).isNothing()) return value;
  List values;
  for (const Value& item : *list) values.push_back(plain(item));
  return values;
}

}  // namespace

Evaluator::Evaluator(const Program& program, Directory& applications)
    : program_(program),
      applications_(applications),
      shared_(program.shared.size()),
      script_(Value::Storage(std::make_shared<Script>())),
      delimiters_(List{Value("")}) {}

Evaluator::~Evaluator() {
  for (auto& nested : nestedLists_)
    if (auto list = nested.lock()) list->clear();
  for (auto& nested : nestedRecords_)
    if (auto record = nested.lock()) record->clear();
}

Value Evaluator::run(const std::vector<std::string>& arguments) {
  Frame top;
  frame_ = &top;
  for (const auto& [slot, value] : program_.properties) shared_[slot] = valueOf(*value);
  const auto handler = program_.handlers.find("run");
  if (handler == program_.handlers.end()) return {};
  List list(arguments.begin(), arguments.end());
  std::vector<Value> given;
  if (handler->second.listParameter)
    given.assign(list.begin(), list.end());
  else if (!handler->second.parameters.empty())
    given.emplace_back(std::move(list));
  const Value result = invoke(handler->second, std::move(given));
  // What was nested is emptied when we go, so the result leaves as a copy.
  return nestedLists_.empty() && nestedRecords_.empty() ? result : copied(settled(result));
}

void Evaluator::fail(const Node& node, int number, const std::string& text) {
  place_ = node.range;
  throw ScriptError(number, text);
}

Value Evaluator::evaluate(const Node& node) {
  checkStack();
  switch (node.kind) {
    case Kind::literal:
      return as<Literal>(node).value;
    case Kind::variable:
      return variable(as<VariableNode>(node));
    case Kind::list: {
      List items;
      for (const Node* item : as<ListNode>(node).items) items.push_back(valueOf(*item));
      return items;
    }
    case Kind::properties:
      return properties(as<PropertiesNode>(node));
    case Kind::record: {
      Record record;
      for (const auto& [label, item] : as<RecordNode>(node).fields) record.emplace_back(label, valueOf(*item));
      return record;
    }
    case Kind::chain:
      return chain(as<Chain>(node));
    case Kind::negate: {
      const Value operand = valueOf(*as<NegateNode>(node).operand);
      place_ = node.range;
      return calculated(Operator::subtract, 0, operand);
    }
    case Kind::logicalNot: {
      const Value operand = valueOf(*as<NotNode>(node).operand);
      place_ = node.range;
      return !asBoolean(operand);
    }
    case Kind::step:
      return plain(spreadStep(as<Step>(node)).value);
    case Kind::insertion:
      return insertion(as<InsertionNode>(node));
    case Kind::call:
      return call(as<CallNode>(node));
    case Kind::command:
      return command(as<CommandNode>(node));
    case Kind::lazy:
      return lazily(as<LazyNode>(node));
    case Kind::it:
      return it();
    case Kind::me:
      return script_;
    case Kind::result:
      return frame_->result;
    case Kind::application:
      return application(as<ApplicationNode>(node));
    case Kind::file:
      return file(as<FileNode>(node));
    case Kind::date: {
      const Value text = valueOf(*as<DateNode>(node).text);
      place_ = node.range;
      return asDate(text);
    }
    default:
      return {};
  }
}

Value Evaluator::valueOf(const Node& node) {
  Value value = evaluate(node);
  if (!value.isNothing()) return value;
  if (node.kind == Kind::result) fail(node, ErrorNumber::notDefined, "The variable result is not defined.");
  fail(node, ErrorNumber::noResult, "No result was returned from some part of this expression.");
}

Value& Evaluator::slot(const VariableNode& node) { return node.shared ? shared_[node.slot] : frame_->slots[node.slot]; }

Value Evaluator::variable(const VariableNode& node) {
  const Value& value = slot(node);
  if (value.isNothing()) fail(node, ErrorNumber::notDefined, "The variable " + node.shown + " is not defined.");
  return value;
}

// ---- Operators

std::string Evaluator::delimiter() const {
  const std::vector<std::string> texts = delimiterTexts(delimiters_);
  return texts.empty() ? "" : texts.front();
}

// Is `left` alone the answer of `and` and `or`?
bool Evaluator::decides(const Value& left, Operator operation) {
  return asBoolean(left) == (operation == Operator::logicalOr);
}

Value Evaluator::chain(const Chain& node) {
  Value left = valueOf(*node.first);
  for (std::size_t i = 0; i < node.links.size(); ++i) {
    const auto& [operation, operand] = node.links[i];
    if (operation == Operator::concatenate) {
      left = concatenation(node, i, std::move(left));
      continue;
    }
    const bool logical = operation == Operator::logicalAnd || operation == Operator::logicalOr;
    place_ = node.range;
    if (logical && decides(left, operation)) {
      left = operation == Operator::logicalOr;
      continue;
    }
    const Value right = valueOf(*operand);
    place_ = node.range;
    left = logical ? Value(asBoolean(right)) : apply(operation, left, right);
  }
  return left;
}

// All the `&` in a row at once, so that a long text is built in one piece.
Value Evaluator::concatenation(const Chain& node, std::size_t& link, Value left) {
  const auto isLast = [&] {
    return link + 1 >= node.links.size() || node.links[link + 1].operation != Operator::concatenate;
  };
  const auto next = [&] {
    const Value right = resolved(valueOf(*node.links[link].operand));
    place_ = node.range;
    return right;
  };
  left = resolved(left);
  if (auto text = left.text()) {
    std::string joined = *text;
    for (;; ++link) {
      joined += asText(next(), delimiter());
      if (isLast()) return joined;
    }
  }
  Value right = next();
  if (left.record() && right.record()) return merged(*left.record(), *right.record());
  List joined = left.list() ? *left.list() : List{left};
  for (;;) {
    if (auto more = right.list())
      joined.insert(joined.end(), more->begin(), more->end());
    else
      joined.push_back(right);
    if (isLast()) return joined;
    ++link;
    right = next();
  }
}

Value Evaluator::apply(Operator operation, const Value& left, const Value& right) {
  switch (operation) {
    case Operator::coerce:
      return coerced(left, right.as<TypeName>()->name, delimiter());
    case Operator::add:
    case Operator::subtract:
    case Operator::multiply:
    case Operator::divide:
    case Operator::divideWhole:
    case Operator::remainder:
    case Operator::power:
      return arithmetic(operation, resolved(left), resolved(right));
    default:
      return compare(operation, left, right);
  }
}

Value Evaluator::arithmetic(Operator operation, const Value& left, const Value& right) {
  const Date* date = left.date();
  if (!date) return calculated(operation, left, right);
  if (operation == Operator::subtract && right.date())
    return number(static_cast<double>(date->seconds - right.date()->seconds), true);
  if (operation == Operator::add) return shifted(*date, asReal(right));
  if (operation == Operator::subtract) return shifted(*date, -asReal(right));
  return calculated(operation, left, right);
}

bool Evaluator::compare(Operator operation, const Value& left, const Value& right) {
  if (operation == Operator::equal) return equal(left, right, attention_);
  if (operation == Operator::notEqual) return !equal(left, right, attention_);
  const Value a = resolved(left), b = resolved(right);
  switch (operation) {
    case Operator::contains:
      return includes(a, b);
    case Operator::notContains:
      return !includes(a, b);
    case Operator::isIn:
      return includes(b, a);
    case Operator::notIn:
      return !includes(b, a);
    case Operator::startsWith:
      return startsWith(a, b, attention_, false);
    case Operator::notStartsWith:
      return !startsWith(a, b, attention_, false);
    case Operator::endsWith:
      return startsWith(a, b, attention_, true);
    case Operator::notEndsWith:
      return !startsWith(a, b, attention_, true);
    case Operator::less:
      return ordering(a, b, attention_) < 0;
    case Operator::lessOrEqual:
      return ordering(a, b, attention_) <= 0;
    case Operator::greater:
      return ordering(a, b, attention_) > 0;
    default:
      return ordering(a, b, attention_) >= 0;
  }
}

// A loop looks for one and the same text in many, so the key of the part is kept.
bool Evaluator::includes(const Value& whole, const Value& part) {
  auto text = part.as<std::shared_ptr<const std::string>>();
  if (!whole.text() || !text) return contains(whole, part, attention_);
  if (kept_.text != *text) kept_ = {*text, comparisonKey(**text, attention_)};
  return comparisonKey(*whole.text(), attention_).find(kept_.key) != std::string::npos;
}

// ---- References

Value Evaluator::it() const { return frame_->target.isNothing() ? script_ : frame_->target; }

Evaluator::Spread Evaluator::base(const Node* container) { return container ? spread(*container) : Spread{it(), 0}; }

Evaluator::Spread Evaluator::spread(const Node& node) {
  checkStack();
  if (node.kind == Kind::step) return spreadStep(as<Step>(node));
  if (node.kind == Kind::owner) return owner_;
  return {valueOf(node), 0};
}

Selector Evaluator::selector(const Step& node) {
  Selector result{node.form, node.name, node.shown};
  if (node.from) result.from = resolved(valueOf(*node.from));
  if (node.to) result.to = resolved(valueOf(*node.to));
  // note n: by number or by name, as n happens to be.
  if (result.form == Selector::Form::index && result.from.text()) result.form = Selector::Form::named;
  if (!node.filter) return result;
  result.filter = [this, &node](const Value& candidate) {
    const Scoped target(frame_->target, candidate);
    return asBoolean(valueOf(*node.filter));
  };
  result.condition = [this, &node] { return conditionText(*node.filter); };
  return result;
}

// A condition with the values of its variables: name = "x" and size > 3.
std::string Evaluator::conditionText(const Node& node) {
  checkStack();
  if (node.kind == Kind::step) {
    const Step& step = as<Step>(node);
    const bool own = !step.container || step.container->kind == Kind::it;
    if (step.form == Selector::Form::property)
      return own ? step.name : step.name + " of " + conditionText(*step.container);
  }
  if (node.kind == Kind::logicalNot) return "not " + conditionText(*as<NotNode>(node).operand);
  if (node.kind == Kind::chain) {
    std::string text = conditionText(*as<Chain>(node).first);
    for (const auto& [operation, operand] : as<Chain>(node).links)
      text += " " + std::string(sign(operation)) + " " + conditionText(*operand);
    return text;
  }
  try {
    return sourceForm(evaluate(node));
  } catch (const ScriptError&) {
    return "…";
  }
}

namespace {

// What is asked of a list itself, also when it is one of objects.
bool concernsList(const Selector& selector) {
  if (selector.form != Selector::Form::property) return selector.name == "item";
  return selector.name == "length" || selector.name == "rest" || selector.name == "reverse";
}

}  // namespace

Value Evaluator::each(const Value& value, int depth, const Selector& step) {
  const List* list = depth > 0 ? value.list() : nullptr;
  if (!list) return get(value, step, reading());
  List results;
  results.reserve(list->size());
  for (const Value& item : *list) results.push_back(each(item, depth - 1, step));
  return results;
}

Evaluator::Spread Evaluator::spreadStep(const Step& node) {
  Spread from = base(node.container);
  const Selector step = selector(node);
  place_ = node.range;
  if (step.name == "text item delimiters") return {delimiters_, 0};
  if (step.form == Selector::Form::id && !node.container && (step.name == "character" || step.name == "text"))
    return {textOfCodePoints(step.from), 0};
  if (from.value.as<std::shared_ptr<Script>>() && isProperty(step.form))
    return {scriptProperty(node.name, node.shown), 0};
  if (concernsList(step)) from.depth = 0;
  Value value = each(from.value, from.depth, step);
  const bool many = step.form == Selector::Form::every || step.form == Selector::Form::range;
  const List* list = value.list();
  const bool objects = list && (list->empty() || list->front().object() || from.depth > 0);
  return {std::move(value), from.depth + (many && objects ? 1 : 0)};
}

// An item takes its owner before anything else, so that handlers it calls may put theirs there.
Value Evaluator::properties(const PropertiesNode& node) {
  const Spread owner = base(node.container);
  List values;
  for (const Node* item : node.items) {
    owner_ = owner;
    values.push_back(valueOf(*item));
  }
  owner_ = {};
  return values;
}

Value Evaluator::scriptProperty(const std::string& name, const std::string& shown) {
  const auto found = program_.shared.find(name);
  if (found != program_.shared.end() && !shared_[found->second].isNothing()) return shared_[found->second];
  if (name == "class") return TypeName{"script"};
  throw ScriptError(ErrorNumber::noSuchObject, "Can’t get " + shown + ".");
}

// Where something goes. `end of notes of f` is a place in f, for notes.
Value Evaluator::insertion(const InsertionNode& node) {
  Insertion result{.place = node.place};
  const bool beside = node.place == Insertion::Place::before || node.place == Insertion::Place::after;
  const Step* elements = node.object && node.object->kind == Kind::step ? &as<Step>(*node.object) : nullptr;
  if (elements && !isProperty(elements->form)) {
    result.elementClass = elements->name;
    result.container = base(elements->container).value.object();
    // The last of none: a new one goes to the end.
    const Selector all{Selector::Form::every, elements->name, elements->name};
    if (!result.container || (beside && AppleScript::count(result.container, all, {}) > 0))
      result.sibling = spread(*node.object).value.object();
  } else {
    const Value object = resolved(node.object ? spread(*node.object).value : it());
    (beside ? result.sibling : result.container) = object.object();
  }
  place_ = node.range;
  if (!result.container && !result.sibling)
    throw ScriptError(ErrorNumber::noSuchObject, "Can’t get " + std::string(beside ? "insertion point." : "end."));
  return result;
}

Value Evaluator::lazily(const LazyNode& node) {
  if (node.reference->kind != Kind::step) return evaluate(*node.reference);
  const Step& step = as<Step>(*node.reference);
  Spread from = base(step.container);
  if (step.filter || from.depth > 0 || from.value.as<std::shared_ptr<Script>>()) return evaluate(*node.reference);
  return makeReference({from.value, selector(step)});
}

Value Evaluator::application(const ApplicationNode& node) {
  const std::string name = asText(valueOf(*node.name));
  place_ = node.range;
  if (auto found = applications_.find(name)) return ObjectPtr(std::move(found));
  throw ScriptError(ErrorNumber::noSuchObject, "Can’t get application \"" + name + "\".");
}

Value Evaluator::file(const FileNode& node) {
  const Value path = valueOf(*node.path);
  place_ = node.range;
  return coerced(path, node.alias ? "alias" : "POSIX file");
}

// ---- Handlers

Value Evaluator::call(const CallNode& node) {
  const Value receiver = node.container ? valueOf(*node.container) : it();
  std::vector<Value> arguments;
  for (const Node* argument : node.arguments) arguments.push_back(valueOf(*argument));
  place_ = node.range;
  if (const ObjectPtr object = resolved(receiver).object())
    throw applicationError(object->application(), ErrorNumber::notUnderstood, "Can’t continue " + node.shown + ".");
  const auto handler = program_.handlers.find(node.name);
  if (handler == program_.handlers.end())
    throw ScriptError(ErrorNumber::notUnderstood,
                      sourceForm(receiver) + " doesn’t understand the " + node.shown + " message.");
  return invoke(handler->second, std::move(arguments));
}

Value Evaluator::invoke(const Handler& handler, std::vector<Value> arguments) {
  constexpr int wrongParameters = -1721;
  checkStack();
  if (arguments.size() != handler.parameters.size())
    throw ScriptError(wrongParameters, sourceForm(Value(List(arguments.begin(), arguments.end()))) +
                                           " doesn’t match the parameters for " + handler.name + ".");
  Frame frame;
  frame.slots.resize(handler.slots);
  const Scoped current(frame_, &frame);
  for (std::size_t i = 0; i < arguments.size(); ++i) slot(*handler.parameters[i]) = std::move(arguments[i]);
  execute(*handler.body);
  return frame.result;
}

}  // namespace AppleScript
