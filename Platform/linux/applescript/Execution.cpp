// Statements.
#include <algorithm>
#include <optional>
#include <unordered_map>

#include "Platform/linux/applescript/Evaluator.h"
#include "Platform/linux/applescript/Scoped.h"
#include "Platform/linux/applescript/Stack.h"

namespace AppleScript {

namespace {

using Kind = Node::Kind;

const char* defaultText(int number) {
  static const std::unordered_map<int, const char*> texts = {
      {ErrorNumber::userCanceled, "User canceled."},
      {ErrorNumber::fileNotFound, "File wasn’t found."},
      {ErrorNumber::notRunning, "Application isn’t running."},
      {ErrorNumber::cannotCoerce, "Can’t make some data into the expected type."},
      {ErrorNumber::notUnderstood, "Script doesn’t understand the message."},
      {ErrorNumber::timedOut, "AppleEvent timed out."},
      {ErrorNumber::invalidIndex, "Invalid index."},
      {ErrorNumber::noSuchObject, "Can’t get reference."},
      {ErrorNumber::handlerFailed, "AppleEvent handler failed."},
  };
  const auto found = texts.find(number);
  return found == texts.end() ? "An error occurred." : found->second;
}

}  // namespace

Evaluator::Flow Evaluator::execute(const Block& block) {
  for (const Node* statement : block.statements)
    if (const Flow flow = execute(*statement); flow != Flow::onward) return flow;
  return Flow::onward;
}

Evaluator::Flow Evaluator::execute(const Node& node) {
  checkStack();
  place_ = node.range;
  switch (node.kind) {
    case Kind::evaluate:
      frame_->result = evaluate(*as<Evaluate>(node).expression);
      return Flow::onward;
    case Kind::assign:
      assign(as<Assign>(node));
      return Flow::onward;
    case Kind::branch:
      return branch(as<Branch>(node));
    case Kind::repeat:
      return repeat(as<Repeat>(node));
    case Kind::exitRepeat:
      return Flow::exitRepeat;
    case Kind::giveBack: {
      const Node* value = as<GiveBack>(node).value;
      frame_->result = value ? evaluate(*value) : Value();
      return Flow::giveBack;
    }
    case Kind::raise:
      raise(as<Raise>(node));
    case Kind::attempt:
      return attempt(as<Attempt>(node));
    case Kind::tell:
      return tell(as<Tell>(node));
    case Kind::attend:
      return attend(as<Attend>(node));
    case Kind::block:
      return execute(as<Block>(node));
    default:
      return Flow::onward;
  }
}

Evaluator::Flow Evaluator::branch(const Branch& node) {
  for (const auto& [condition, body] : node.cases) {
    const Value truth = valueOf(*condition);
    place_ = condition->range;
    if (asBoolean(truth)) return execute(*body);
  }
  return node.otherwise ? execute(*node.otherwise) : Flow::onward;
}

// ---- Loops

// One turn; `goesOn` becomes false when the loop is left.
Evaluator::Flow Evaluator::pass(const Repeat& node, bool& goesOn) {
  const Flow flow = execute(*node.body);
  if (flow != Flow::onward) goesOn = false;
  return flow == Flow::giveBack ? flow : Flow::onward;
}

Evaluator::Flow Evaluator::repeat(const Repeat& node) {
  using Form = Repeat::Form;
  if (node.form == Form::items) return repeatItems(node);
  if (node.form == Form::counting) return repeatCounting(node);
  std::int64_t turns = node.form == Form::times ? asInteger(valueOf(*node.first)) : 0;
  Flow flow = Flow::onward;
  for (bool goesOn = true; goesOn;) {
    if (node.form == Form::times && turns-- <= 0) break;
    const bool tests = node.form == Form::whileTrue || node.form == Form::untilTrue;
    if (tests && asBoolean(valueOf(*node.first)) != (node.form == Form::whileTrue)) break;
    flow = pass(node, goesOn);
  }
  return flow;
}

Evaluator::Flow Evaluator::repeatCounting(const Repeat& node) {
  const std::int64_t first = asInteger(valueOf(*node.first));
  const std::int64_t last = asInteger(valueOf(*node.last));
  const std::int64_t step = node.step ? asInteger(valueOf(*node.step)) : 1;
  if (step == 0) fail(*node.step, ErrorNumber::general, "The step of a repeat can’t be zero.");
  Flow flow = Flow::onward;
  bool goesOn = true;
  for (std::int64_t i = first; goesOn && (step > 0 ? i <= last : i >= last);) {
    slot(*node.variable) = i;
    flow = pass(node, goesOn);
    if (__builtin_add_overflow(i, step, &i)) break;
  }
  return flow;
}

// The variable is a reference to an item, so that the loop can change the list through it.
Evaluator::Flow Evaluator::repeatItems(const Repeat& node) {
  Value list = resolved(valueOf(*node.first));
  place_ = node.first->range;
  if (list.text()) list = get(list, {Selector::Form::every, "character", "characters"}, reading());
  if (list.object()) list = List{list};
  if (!list.list()) list = coerced(list, "list");
  Flow flow = Flow::onward;
  bool goesOn = true;
  for (std::size_t item = 1; goesOn && item <= list.list()->size(); ++item) {
    slot(*node.variable) = makeReference({list, {}, item});
    flow = pass(node, goesOn);
  }
  return flow;
}

// ---- Errors

Evaluator::Flow Evaluator::attempt(const Attempt& node) {
  std::optional<RaisedError> caught;
  try {
    return execute(*node.body);
  } catch (const RaisedError& error) {
    caught.emplace(error);
  } catch (const ScriptError& error) {
    caught.emplace(error.number(), error.description(), script_, List{});
  }
  if (!node.handler) return Flow::onward;
  const auto give = [this](const VariableNode* variable, const Value& value) {
    if (variable) slot(*variable) = value;
  };
  give(node.text, caught->description());
  give(node.number, caught->number());
  give(node.from, caught->from);
  give(node.partial, caught->partial);
  return execute(*node.handler);
}

void Evaluator::raise(const Raise& node) {
  const auto value = [this](const Node* part, const Value& otherwise = {}) {
    return part ? resolved(valueOf(*part)) : otherwise;
  };
  const Value text = value(node.text);
  const Value number = value(node.number);
  const Value from = value(node.from, script_);
  const Value partial = value(node.partial, List{});
  place_ = node.range;
  const std::int64_t wide = number.isNothing() ? ErrorNumber::general : asInteger(number);
  const int code = static_cast<int>(std::clamp<std::int64_t>(wide, INT32_MIN, INT32_MAX));
  throw RaisedError(code, text.isNothing() ? defaultText(code) : asText(text, delimiter()), from, partial);
}

// ---- Targets and attention

Evaluator::Flow Evaluator::tell(const Tell& node) {
  const Value target = resolved(spread(*node.target).value);
  const Scoped told(frame_->target, target.as<std::shared_ptr<Script>>() ? Value() : target);
  return execute(*node.body);
}

Evaluator::Flow Evaluator::attend(const Attend& node) {
  Attention attention = attention_;
  for (const auto& [aspect, considered] : node.changes) attention.*aspect = considered;
  const Scoped attending(attention_, attention);
  const Scoped looking(kept_, Kept{});
  return execute(*node.body);
}

// ---- Assignment

void Evaluator::assign(const Assign& node) {
  Value value = valueOf(*node.value);
  if (node.copies) value = copied(value);
  place_ = node.range;
  assign(*node.target, value);
  frame_->result = std::move(value);
}

void Evaluator::assign(const Node& target, const Value& value) {
  checkStack();
  if (target.kind == Kind::variable) {
    slot(as<VariableNode>(target)) = value;
  } else if (target.kind == Kind::step) {
    assignStep(as<Step>(target), value);
  } else if (target.kind == Kind::insertion) {
    insert(as<InsertionNode>(target), value);
  } else {
    const auto& targets = as<ListNode>(target).items;
    const Value parts = resolved(value);
    if (!parts.list() || parts.list()->size() < targets.size())
      fail(target, ErrorNumber::noSuchObject,
           "Can’t get item " + std::to_string(parts.list() ? parts.list()->size() + 1 : 1) + " of " +
               sourceForm(parts) + ".");
    const List items = *parts.list();  // as it was: the targets may be parts of it
    for (std::size_t i = 0; i < targets.size(); ++i) assign(*targets[i], items[i]);
  }
}

void Evaluator::assignStep(const Step& target, const Value& value) {
  const Spread from = base(target.container);
  const Selector step = selector(target);
  place_ = target.range;
  if (step.name == "text item delimiters") {
    delimiters_ = value;
    return;
  }
  if (from.value.as<std::shared_ptr<Script>>() && isProperty(step.form)) {
    const auto found = program_.shared.find(target.name);
    if (found == program_.shared.end())
      throw ScriptError(ErrorNumber::cannotSet, "Can’t set " + target.shown + " to " + sourceForm(value) + ".");
    shared_[found->second] = value;
    return;
  }
  const bool asked = step.form == Selector::Form::property;
  // A name as it stands is the property of what it names; elements are replaced where they are.
  assignEach(from.value, asked ? from.depth : 0, step, value);
  if (holdsOthers(value)) noteNesting(resolved(from.value));
}

void Evaluator::assignEach(const Value& value, int depth, const Selector& step, const Value& assigned) {
  const List* list = depth > 0 ? value.list() : nullptr;
  if (!list) return set(value, step, assigned, reading());
  for (const Value& item : *list) assignEach(item, depth - 1, step, assigned);
}

// set end of acc to x
void Evaluator::insert(const InsertionNode& target, const Value& value) {
  const Value whole = resolved(target.object ? valueOf(*target.object) : it());
  place_ = target.range;
  List* list = whole.list();
  const bool atEnd = target.place == Insertion::Place::end;
  if (!list || (!atEnd && target.place != Insertion::Place::beginning))
    throw ScriptError(ErrorNumber::cannotSet, "Can’t set " + std::string(atEnd ? "end" : "beginning") + " of " +
                                                  sourceForm(whole) + " to " + sourceForm(value) + ".");
  list->insert(atEnd ? list->end() : list->begin(), value);
  if (holdsOthers(value)) noteNesting(whole);
}

// Remembers a list or record that took in another: it is emptied when the run ends, so that rings of
// them don't stay behind.
void Evaluator::noteNesting(const Value& taker) {
  if (auto list = taker.as<Value::ListPtr>()) {
    if (nestedLists_.empty() || nestedLists_.back().lock() != *list) nestedLists_.push_back(*list);
  } else if (auto record = taker.as<Value::RecordPtr>()) {
    if (nestedRecords_.empty() || nestedRecords_.back().lock() != *record) nestedRecords_.push_back(*record);
  }
}

}  // namespace AppleScript
