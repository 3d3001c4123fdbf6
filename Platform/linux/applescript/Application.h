// What the language asks of a scriptable application: a dictionary, which the parser reads, and
// objects, which the evaluator talks to. The language knows no application by name; whoever runs a
// script hands it a Directory that finds them.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Platform/linux/applescript/Value.h"

namespace AppleScript {

// ---- The dictionary. Names are lower-cased English phrases of one blank between words, exactly as a
// script writes them, except where a proper noun keeps its capitals in messages ("MIME type").

struct PropertyTerm {
  std::string name;
  bool writable = false;
};

struct ClassTerm {
  std::string name;    // "note", "to recipient"
  std::string plural;  // "notes"; a script may use either for a list
  std::vector<PropertyTerm> properties = {};
  std::vector<std::string> elements = {};  // names of the classes it contains
  std::string inherits = {};               // properties and elements of that class count too
};

struct ParameterTerm {
  std::string label;  // "opening window"
  bool required = false;
  bool flag = false;  // also `with label` / `without label`
};

struct CommandTerm {
  std::string name;  // "reply", "check for new mail"
  std::vector<ParameterTerm> parameters = {};
  bool takesDirect = true;
};

/// The terms of one application, over and above the language's own and the standard suite's (make,
/// delete, move, duplicate, count, exists, open, close, save, activate, quit, get, set).
struct Dictionary {
  std::vector<ClassTerm> classes;  // the application itself is the class "application"
  std::vector<CommandTerm> commands = {};
  std::vector<std::string> constants = {};
};

// ---- The objects. Every operation may throw ScriptError; the evaluator puts "X got an error: " in
// front of what comes out of application X, and raises -1728 "Can’t get P of O." for a property that
// the dictionary doesn't have.

class Application;

class Object : public std::enable_shared_from_this<Object> {
 public:
  virtual ~Object() = default;

  /// The dictionary's class name, singular.
  virtual std::string className() const = 0;
  /// The object in source form, as messages show it: note id "x" of folder "Notes". Without the
  /// application at its end.
  virtual std::string specifier() const = 0;

  /// `name` is a property that the dictionary gives this class.
  virtual Value property(std::string_view name) = 0;
  /// `name` is a writable property of this class; the evaluator has raised -10003 for others.
  virtual void setProperty(std::string_view name, const Value& value);

  /// The elements of a class, in the application's order. `className` is one of the dictionary's.
  virtual std::vector<ObjectPtr> elements(std::string_view className);
  /// The first element with this name or id, or null. Overridden where a store finds it without
  /// building all of them. Names compare by the language's default rule.
  virtual ObjectPtr elementNamed(std::string_view className, std::string_view name);
  virtual ObjectPtr elementWithId(std::string_view className, const Value& id);

  /// What an object that only dresses a plain value stands for: a rich text's text. The evaluator takes
  /// this wherever it isn't the target of a `tell`. Nothing for a real object.
  virtual Value plainValue() { return {}; }

  /// Does it still exist? An object handed out earlier may have been deleted since.
  virtual bool exists() { return true; }
  /// Are the two one and the same thing of the application?
  virtual bool same(const Object& other) const { return this == &other; }

  virtual Application& application() = 0;
};

/// A command on its way to an application.
struct Command {
  std::string name;
  Value direct;                                           // what it acts on; a list for several. A script
                                                          // that names nothing means the target, unless
                                                          // that is the application; `make` has none
  std::vector<std::pair<std::string, Value>> parameters;  // by label, in the order given
  ObjectPtr target;                                       // the innermost `tell`

  const Value* parameter(std::string_view label) const {
    for (const auto& [given, value] : parameters)
      if (given == label) return &value;
    return nullptr;
  }
};

class Application : public Object {
 public:
  virtual std::string name() const = 0;
  /// The same one each time: the language keeps pointers into it while a script runs.
  virtual const Dictionary& dictionary() const = 0;

  /// Runs any command but get, set, count and exists, which the evaluator answers from the objects.
  /// `make` comes with "new" (TypeName), and "at" (Insertion or an object), "with properties" and
  /// "with data" when they are given.
  virtual Value perform(const Command& command) = 0;

  std::string className() const override { return "application"; }
  std::string specifier() const override { return "application \"" + name() + "\""; }
  Application& application() override { return *this; }
};

/// Finds applications by name, without regard to case.
class Directory {
 public:
  virtual ~Directory() = default;
  /// Null when no such application is installed.
  virtual std::shared_ptr<Application> find(std::string_view name) = 0;
};

}  // namespace AppleScript
