// What the applications of the desktop have in common. Their lives above all: as on a Mac, a script that
// talks to an application starts it, and it runs until it is told to quit. To ask for its name, or
// whether it runs, starts nothing.
//
// And the owner's say: a script controls only what the owner lets scripts control (Permissions.h). Any program may ask
// whether an application runs, start it and quit it, as any may with `open`; whatever else needs the permission, which
// is looked up at the first message of a script and holds until the script ends. A script that is refused starts
// nothing, and its error is -1743, or -1744 where the owner hasn't decided and can't be asked.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Dates.h"
#include "Platform/linux/applescript/Application.h"
#include "Platform/linux/applescript/Coercion.h"

class DesktopApplication : public AppleScript::Application {
 public:
  /// `dictionary` need not tell the properties that every application has.
  DesktopApplication(std::string name, AppleScript::Dictionary dictionary);

  std::string name() const final { return name_; }
  const AppleScript::Dictionary& dictionary() const final { return dictionary_; }

  AppleScript::Value property(std::string_view name) final;
  std::vector<AppleScript::ObjectPtr> elements(std::string_view className) final;
  AppleScript::ObjectPtr elementNamed(std::string_view className, std::string_view name) final;
  AppleScript::ObjectPtr elementWithId(std::string_view className, const AppleScript::Value& id) final;
  AppleScript::Value perform(const AppleScript::Command& command) final;

 protected:
  // What the application itself does with the terms of its dictionary.
  virtual AppleScript::Value ownProperty(std::string_view name);
  virtual std::vector<AppleScript::ObjectPtr> ownElements(std::string_view className);
  virtual AppleScript::ObjectPtr ownElementNamed(std::string_view className, std::string_view name);
  virtual AppleScript::ObjectPtr ownElementWithId(std::string_view className, const AppleScript::Value& id);
  /// A command other than activate, launch, run, reopen and quit.
  virtual AppleScript::Value execute(const AppleScript::Command& command) = 0;
  virtual void prepareToQuit() {}

 private:
  bool isRunning() const;
  void start();
  /// Comes before any answer of the application's own. Throws where the owner doesn't let scripts control it.
  void beControlled();

  std::string name_;
  AppleScript::Dictionary dictionary_;
  bool isBackground_;
  bool isStarted_ = false;
  bool isPermitted_ = false;
};

/// An object of an application.
class DesktopObject : public AppleScript::Object {
 public:
  explicit DesktopObject(DesktopApplication& owner);
  AppleScript::Application& application() override { return *owner_; }
  /// Objects are the same when they name the same thing.
  bool same(const AppleScript::Object& other) const override;

 private:
  std::shared_ptr<AppleScript::Object> keepsOwnerAlive_;
  DesktopApplication* owner_;
};

// ---- Small helps for what applications do with values.

namespace DesktopValues {

AppleScript::Value date(Dates::Instant instant);
std::string quoted(std::string_view text);

/// What a command acts on: one object or a list of them. Throws -1708 for anything else.
std::vector<AppleScript::ObjectPtr> objects(const AppleScript::Command& command);
/// Where a parameter like `at` or `to` leads: an object, or what `end of notes of f` is the end of. Null for anything
/// else and for no parameter.
AppleScript::ObjectPtr place(const AppleScript::Value* parameter);

/// The parts of `make new X at P with properties {...}`.
struct Making {
  std::string className;
  AppleScript::ObjectPtr place;  // of `at`, else what is told; never null
  AppleScript::Record properties;
};
Making making(const AppleScript::Command& command);

/// Sets the properties of something new. Throws -10006 for one that its class doesn't let a script set.
void setAll(AppleScript::Object& made, const AppleScript::Record& properties);
/// The name of something new that can be given nothing else; null when it is given none. Throws -10006 for any other
/// property.
const AppleScript::Value* nameAlone(const Making& making);

// What can't be done, in words that all of them share.

[[noreturn]] void notUnderstood(const AppleScript::Command& command);                      // -1708
[[noreturn]] void cannotGet(const AppleScript::Object& object);                            // -1728: it has gone
[[noreturn]] void cannotDelete(const AppleScript::Object& object);                         // -10003
[[noreturn]] void cannotMake(const Making& making);                                        // -10000: not there
[[noreturn]] void cannotMakeWith(const std::string& label, const std::string& className);  // -10006

}  // namespace DesktopValues
