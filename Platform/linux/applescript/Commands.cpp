// Commands: the language's own, the additions that need no desktop, and what goes to an application.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <iostream>
#include <random>
#include <thread>

#include "Platform/Environment.h"
#include "Platform/Process.h"
#include "Platform/Text.h"
#include "Platform/linux/applescript/DateForms.h"
#include "Platform/linux/applescript/Evaluator.h"
#include "Platform/linux/applescript/TextParts.h"

namespace AppleScript {

namespace {

constexpr int badParameter = -50;

double half(double number, double towards) {  // to the nearest; a half goes as `towards` decides
  const double whole = std::floor(number);
  const double rest = number - whole;
  if (rest != 0.5) return rest < 0.5 ? whole : whole + 1;
  return towards;
}

}  // namespace

const Node* Evaluator::parameterNode(const CommandNode& node, std::string_view label) const {
  for (const auto& [name, value] : node.parameters)
    if (name == label) return value;
  return nullptr;
}

Value Evaluator::command(const CommandNode& node) {
  if (node.builtin != Builtin::none && node.builtin != Builtin::make) return builtin(node);
  return applicationCommand(node);
}

Value Evaluator::builtin(const CommandNode& node) {
  const auto direct = [&] {
    if (!node.direct)
      fail(node, ErrorNumber::parameterMissing, "Some parameter is missing for " + node.term->name + ".");
    const Value value = resolved(valueOf(*node.direct));
    place_ = node.range;
    return value;
  };
  switch (node.builtin) {
    case Builtin::get:
      return direct();
    case Builtin::count:
      return count(node);
    case Builtin::exists:
      return exists(node);
    case Builtin::log:
      std::cerr << resultForm(node.direct ? direct() : it()) << "\n";
      return {};
    case Builtin::delay:
      return delay(node);
    case Builtin::offset:
      return offset(node);
    case Builtin::round:
      return round(node);
    case Builtin::randomNumber:
      return randomNumber(node);
    case Builtin::currentDate:
      return presentDate();
    case Builtin::systemAttribute:
      return Environment::value(asText(direct()).c_str()).value_or("");
    case Builtin::asciiCharacter: {
      const std::int64_t code = asInteger(direct());
      if (code < 0 || code > 127) fail(node, badParameter, "Can’t make that into an ASCII character.");
      return std::string(1, static_cast<char>(code));
    }
    case Builtin::asciiNumber: {
      const std::string text = asText(direct());
      if (text.empty()) fail(node, badParameter, "Parameter error.");
      return static_cast<std::int64_t>(static_cast<unsigned char>(text.front()));
    }
    case Builtin::shellScript:
      return shellScript(node);
    default:
      return {};
  }
}

Value Evaluator::count(const CommandNode& node) {
  if (!node.direct) return static_cast<std::int64_t>(lengthOf(it()));
  const Step* step = node.direct->kind == Node::Kind::step ? &as<Step>(*node.direct) : nullptr;
  if (step && step->form == Selector::Form::every) {
    const Spread from = base(step->container);
    const Selector every = selector(*step);
    place_ = node.range;
    if (from.depth == 0) return static_cast<std::int64_t>(AppleScript::count(from.value, every, reading()));
  }
  const Value value = valueOf(*node.direct);
  place_ = node.range;
  return static_cast<std::int64_t>(lengthOf(value));
}

bool Evaluator::exists(const CommandNode& node) {
  try {
    const Value value = resolved(node.direct ? spread(*node.direct).value : it());
    if (const ObjectPtr object = value.object()) return ask(object->application(), [&] { return object->exists(); });
    const bool elements = node.direct && node.direct->kind == Node::Kind::step;
    if (auto list = value.list()) return !list->empty() || !elements;
    return !value.isNothing() && !value.isMissing();
  } catch (const ScriptError& error) {
    if (error.number() == ErrorNumber::noSuchObject || error.number() == ErrorNumber::invalidIndex) return false;
    throw;
  }
}

Value Evaluator::delay(const CommandNode& node) {
  const double seconds = node.direct ? asReal(valueOf(*node.direct)) : 0;
  constexpr double longest = 1e8;  // three years; more would not fit the clock
  if (seconds > 0) std::this_thread::sleep_for(std::chrono::duration<double>(std::min(seconds, longest)));
  return {};
}

Value Evaluator::offset(const CommandNode& node) {
  const std::string part = asText(resolved(valueOf(*parameterNode(node, "of"))));
  const std::string whole = asText(resolved(valueOf(*parameterNode(node, "in"))));
  place_ = node.range;
  return static_cast<std::int64_t>(offsetOf(part, whole, attention_));
}

Value Evaluator::round(const CommandNode& node) {
  const double number = node.direct ? asReal(valueOf(*node.direct)) : 0;
  const Node* way = parameterNode(node, "rounding");
  const Value given = way ? valueOf(*way) : Value(Constant{"to nearest"});
  const std::string name = given.as<Constant>() ? given.as<Constant>()->name : "";
  double result = 0;
  if (name == "up")
    result = std::ceil(number);
  else if (name == "down")
    result = std::floor(number);
  else if (name == "toward zero")
    result = std::trunc(number);
  else if (name == "to nearest")
    result = half(number, std::nearbyint(number));
  else if (name == "as taught in school")
    result = half(number, number < 0 ? std::floor(number) : std::ceil(number));
  else
    fail(node, badParameter, "Parameter error.");
  if (std::fabs(result) > largestInteger) return result;
  return static_cast<std::int64_t>(result);
}

// A real between 0 and 1, or a whole number within whole bounds.
Value Evaluator::randomNumber(const CommandNode& node) {
  static thread_local std::mt19937_64 generator{std::random_device{}()};
  const auto given = [&](const Node* part, const Value& otherwise) {
    return part ? coerced(valueOf(*part), "number") : otherwise;
  };
  const bool bare = !node.direct && node.parameters.empty();
  const Value low = given(parameterNode(node, "from"), 0);
  const Value high = given(node.direct ? node.direct : parameterNode(node, "to"), bare ? Value(1.0) : Value(100));
  if (low.as<double>() || high.as<double>()) {
    const double a = asReal(low), b = asReal(high);
    return a < b ? std::uniform_real_distribution<double>(a, b)(generator) : a;
  }
  const std::int64_t a = asInteger(low), b = asInteger(high);
  return std::uniform_int_distribution<std::int64_t>(std::min(a, b), std::max(a, b))(generator);
}

// The shell's output without its last line end, lines ended by return; its failure is an error whose
// number is the exit status.
Value Evaluator::shellScript(const CommandNode& node) {
  if (parameterNode(node, "administrator privileges"))
    fail(node, ErrorNumber::accessNotAllowed, "Administrator privileges aren’t available here.");
  const std::string text = node.direct ? asText(resolved(valueOf(*node.direct))) : "";
  place_ = node.range;
  Process::Result result;
  try {
    result = Process::run({.program = "/bin/sh", .arguments = {"-c", text}, .input = ""});
  } catch (const Process::LaunchFailure& failure) {
    throw ScriptError(ErrorNumber::handlerFailed, failure.description());
  }
  const auto cleaned = [](std::string bytes) {
    std::string repaired = Text::repairUTF8(std::move(bytes));
    if (repaired.ends_with('\n')) repaired.pop_back();
    return Text::replaceAll(repaired, "\n", "\r");
  };
  if (result.status.ok()) return cleaned(std::move(result.output));
  const int number = result.status.exited ? result.status.code : 128 + result.status.signal;
  const std::string said = cleaned(std::move(result.errors));
  throw ScriptError(number, said.empty() ? "The command exited with a non-zero status." : said);
}

// ---- Applications

// A command goes to the target's application; outside of a tell, to that of what it acts on.
std::shared_ptr<Application> Evaluator::receiver(const Value& direct) {
  ObjectPtr object = frame_->target.object();
  if (!object) object = direct.object();
  if (!object && direct.list() && !direct.list()->empty()) object = direct.list()->front().object();
  if (!object) return nullptr;
  return std::static_pointer_cast<Application>(object->application().shared_from_this());
}

// `make new note at notes of f`: a class of elements, named as a place, is their end.
Value Evaluator::parameter(std::string_view label, const Node& value) {
  const Step* elements = value.kind == Node::Kind::step ? &as<Step>(value) : nullptr;
  if (label != "at" || !elements || elements->form != Selector::Form::every || elements->filter)
    return settled(valueOf(value));
  return Insertion{Insertion::Place::end, resolved(base(elements->container).value).object(), elements->name, nullptr};
}

Value Evaluator::applicationCommand(const CommandNode& node) {
  Command command;
  command.name = node.term->name;
  if (node.direct) command.direct = settled(spread(*node.direct).value);
  for (const auto& [label, value] : node.parameters) command.parameters.emplace_back(label, parameter(label, *value));
  place_ = node.range;
  const std::shared_ptr<Application> application = receiver(command.direct);
  if (!application)
    throw ScriptError(ErrorNumber::notUnderstood,
                      sourceForm(it()) + " doesn’t understand the " + command.name + " message.");
  for (const ParameterTerm& term : node.term->parameters)
    if (term.required && !command.parameter(term.label))
      throw applicationError(*application, ErrorNumber::parameterMissing,
                             "Missing " + term.label + " parameter for " + command.name + ".");
  command.target = frame_->target.object() ? frame_->target.object() : application;
  if (!node.direct && node.builtin != Builtin::make && command.target != application) command.direct = command.target;
  return ask(*application, [&] { return application->perform(command); });
}

}  // namespace AppleScript
