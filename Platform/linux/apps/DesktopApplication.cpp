#include "Platform/linux/apps/DesktopApplication.h"

#include <algorithm>
#include <utility>

#include "Platform/linux/applescript/DateForms.h"
#include "Platform/linux/applescript/Schema.h"
#include "Platform/linux/stores/InstalledApplications.h"
#include "Platform/linux/stores/Permissions.h"
#include "Platform/linux/stores/RunningApplications.h"

using namespace AppleScript;

namespace {

/// Every application has these.
const std::vector<PropertyTerm> commonProperties = {{"name"}, {"version"}, {"running"}, {"frontmost"}};

Dictionary withCommonTerms(Dictionary dictionary) {
  auto& classes = dictionary.classes;
  auto found =
      std::find_if(classes.begin(), classes.end(), [](const auto& term) { return term.name == "application"; });
  if (found == classes.end()) found = classes.insert(found, {.name = "application", .plural = "applications"});
  found->properties.insert(found->properties.end(), commonProperties.begin(), commonProperties.end());
  return dictionary;
}

bool isOneOf(std::string_view word, std::initializer_list<std::string_view> words) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

bool isBackground(std::string_view name) {
  const auto* installed = InstalledApplications::named(name);
  return installed != nullptr && installed->isBackground;
}

/// Asks the owner where they haven't decided.
bool isPermitted(std::string_view name) {
  const auto subject = Permissions::Subject::automation(name);
  const auto access = Permissions::access(subject);
  return access == Permissions::Access::notDetermined ? Permissions::request(subject)
                                                      : access == Permissions::Access::full;
}

[[noreturn]] void refuse(const std::string& name) {
  constexpr int notAuthorized = -1743, wouldRequireConsent = -1744;
  if (Permissions::access(Permissions::Subject::automation(name)) != Permissions::Access::notDetermined)
    throw ScriptError(notAuthorized, "Not authorized to send Apple events to " + name + ".");
  throw ScriptError(wouldRequireConsent, "Controlling " + name +
                                             " needs the owner’s consent, and there is nobody here to ask; the owner "
                                             "gives it in the settings of the desktop.");
}

}  // namespace

// ---- The application.

DesktopApplication::DesktopApplication(std::string name, Dictionary dictionary)
    : name_(std::move(name)), dictionary_(withCommonTerms(std::move(dictionary))), isBackground_(isBackground(name_)) {}

bool DesktopApplication::isRunning() const { return isBackground_ || RunningApplications::contains(name_); }

/// Only a note of what runs, so a failure to take it is no reason to refuse the script's work.
void DesktopApplication::start() {
  if (isBackground_ || std::exchange(isStarted_, true)) return;
  try {
    RunningApplications::add(name_);
  } catch (const Error&) {
    isStarted_ = false;
  }
}

void DesktopApplication::beControlled() {
  if (!isPermitted_ && !isPermitted(name_)) refuse(name_);
  isPermitted_ = true;
  start();
}

Value DesktopApplication::property(std::string_view name) {
  if (name == "name") return name_;
  if (name == "version") return "1.0";
  if (name == "running") return isRunning();
  if (name == "frontmost") return false;
  beControlled();
  return ownProperty(name);
}

std::vector<ObjectPtr> DesktopApplication::elements(std::string_view className) {
  beControlled();
  return ownElements(className);
}

ObjectPtr DesktopApplication::elementNamed(std::string_view className, std::string_view name) {
  beControlled();
  return ownElementNamed(className, name);
}

ObjectPtr DesktopApplication::elementWithId(std::string_view className, const Value& id) {
  beControlled();
  return ownElementWithId(className, id);
}

Value DesktopApplication::perform(const Command& command) {
  if (command.name == "quit") {
    prepareToQuit();
    RunningApplications::remove(name_);
    isStarted_ = false;
    return {};
  }
  if (isOneOf(command.name, {"activate", "launch", "run", "reopen"})) {
    start();
    return {};
  }
  beControlled();
  return execute(command);
}

Value DesktopApplication::ownProperty(std::string_view) { return Missing(); }
std::vector<ObjectPtr> DesktopApplication::ownElements(std::string_view) { return {}; }
ObjectPtr DesktopApplication::ownElementNamed(std::string_view className, std::string_view name) {
  return Object::elementNamed(className, name);
}
ObjectPtr DesktopApplication::ownElementWithId(std::string_view className, const Value& id) {
  return Object::elementWithId(className, id);
}

// ---- Objects.

DesktopObject::DesktopObject(DesktopApplication& owner) : keepsOwnerAlive_(owner.shared_from_this()), owner_(&owner) {}

bool DesktopObject::same(const Object& other) const {
  return className() == other.className() && specifier() == other.specifier();
}

// ---- Values.

namespace DesktopValues {

Value date(Dates::Instant instant) {
  const auto local = Dates::local(instant);
  const int time = (local.hour * 60 + local.minute) * 60 + local.second;
  return fromFields({.year = local.year, .month = local.month, .day = local.day, .time = time});
}

std::string quoted(std::string_view text) { return sourceForm(Value(text)); }

void notUnderstood(const Command& command) {
  const auto what = command.direct.isNothing()
                        ? command.target ? sourceForm(command.target) : std::string("application")
                        : sourceForm(command.direct);
  throw ScriptError(ErrorNumber::notUnderstood, what + " doesn’t understand the “" + command.name + "” message.");
}

void cannotGet(const Object& object) {
  throw ScriptError(ErrorNumber::noSuchObject, "Can’t get " + object.specifier() + ".");
}

void cannotDelete(const Object& object) {
  throw ScriptError(ErrorNumber::accessNotAllowed, "Can’t delete " + object.specifier() + ". Access not allowed.");
}

void cannotMake(const Making& making) {
  throw ScriptError(ErrorNumber::handlerFailed, "Can’t make a new " + making.className + " there.");
}

void cannotMakeWith(const std::string& label, const std::string& className) {
  throw ScriptError(ErrorNumber::cannotSet, "Can’t set " + label + " of a new " + className + ".");
}

std::vector<ObjectPtr> objects(const Command& command) {
  std::vector<ObjectPtr> found;
  if (const auto list = command.direct.list())
    for (const auto& item : *list) found.push_back(item.object());
  else
    found.push_back(command.direct.object());
  if (std::find(found.begin(), found.end(), nullptr) != found.end()) notUnderstood(command);
  return found;
}

ObjectPtr place(const Value* parameter) {
  const auto insertion = parameter ? parameter->as<std::shared_ptr<const Insertion>>() : nullptr;
  if (insertion) return (*insertion)->container;
  return parameter ? parameter->object() : nullptr;
}

Making making(const Command& command) {
  Making result{.className = {}, .place = command.target, .properties = {}};
  if (const auto type = command.parameter("new"); type && type->as<TypeName>())
    result.className = type->as<TypeName>()->name;
  if (const auto at = command.parameter("at")) result.place = place(at);
  if (const auto properties = command.parameter("with properties"); properties && properties->record())
    result.properties = *properties->record();
  if (!result.place) notUnderstood(command);
  return result;
}

void setAll(Object& made, const Record& properties) {
  const auto& schema = Schema::of(made.application());
  for (const auto& [label, value] : properties) {
    const auto term = schema.property(made.className(), label);
    if (!term || !term->writable) cannotMakeWith(label, made.className());
    made.setProperty(label, value);
  }
}

const Value* nameAlone(const Making& making) {
  const Value* name = nullptr;
  for (const auto& [label, value] : making.properties)
    label == "name" ? void(name = &value) : cannotMakeWith(label, making.className);
  return name;
}

}  // namespace DesktopValues
