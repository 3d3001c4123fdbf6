// What stands behind `note 3 of x`, `name of x` and `items 2 thru -1 of x`: one step from a base to
// what it holds. A step works alike on application objects, texts, lists, records and dates.
#pragma once

#include <exception>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/linux/applescript/Application.h"

namespace AppleScript {

/// One step, its keys already evaluated.
struct Selector {
  enum class Form { property, userProperty, every, index, named, id, range, middle, some };
  Form form = Form::property;
  std::string name;        // the property, or the class in the singular: "note", "item", "text item"
  std::string shown = {};  // as the script names it: "notes"; equal to `name` for a property
  Value from = {};         // index, name or id
  Value to = {};           // end of a range
  /// Keeps the elements it is true for; empty keeps all.
  std::function<bool(const Value&)> filter = {};
  std::function<std::string()> condition = {};  // the filter as messages show it
};

/// Is it a property, of the dictionary or of the script's own?
inline bool isProperty(Selector::Form form) {
  return form == Selector::Form::property || form == Selector::Form::userProperty;
}

/// What `me` is. There is one script, so there is nothing in it.
struct Script {};

/// A step that isn't taken yet. `repeat with x in L` makes one for each turn.
struct Reference {
  Value base;
  Selector selector;
  std::size_t item = 0;  // not 0: short for `item N of base`, a list; `selector` isn't used
};

Value makeReference(Reference reference);

/// May `value` hold other values?
bool holdsOthers(const Value& value);

/// The settings that change what a step finds.
struct Reading {
  Value delimiters;  // text item delimiters
};

/// Follows references until something else is there.
Value resolved(const Value& value);
/// As `resolved`, also within lists and records: what an application is given.
Value settled(const Value& value);

/// Lists, records and dates copied all the way down, so that no change of one shows in the other.
Value copied(const Value& value);

/// Throws ScriptError: -1728 for what isn't there, -1719 for an application's element by index or
/// filter. Errors of an application get its prefix.
Value get(const Value& base, const Selector& selector, const Reading& reading);
void set(const Value& base, const Selector& selector, const Value& value, const Reading& reading);
/// The number of elements, without making a list of them.
std::size_t count(const Value& base, const Selector& selector, const Reading& reading);

/// What `character id 65` and `text id {72, 105}` make. Throws ScriptError.
std::string textOfCodePoints(const Value& ids);

/// The delimiters as texts; a single one is a list of one.
std::vector<std::string> delimiterTexts(const Value& delimiters);

/// Is `value` of this class? `item` is every value's.
bool isOfClass(const Value& value, std::string_view className);
std::string classOf(const Value& value);

/// What a command that counts gives for a value: characters, items.
std::size_t lengthOf(const Value& value);

/// The text in single quotes for a shell.
std::string shellQuoted(std::string_view text);

/// "Mail got an error: " in front of `text`, or not, where the number tells that the system spoke.
ScriptError applicationError(Application& application, int number, const std::string& text);

/// Runs what an application does and names it in front of its errors. Whatever it throws, a script can catch.
template <class Work>
auto ask(Application& application, Work work) -> decltype(work()) {
  try {
    return work();
  } catch (const ScriptError& error) {
    throw applicationError(application, error.number(), error.description());
  } catch (const std::exception& error) {
    throw applicationError(application, ErrorNumber::handlerFailed, error.what());
  }
}

/// The object's `plainValue`, asked of its application.
Value plainValueOf(const ObjectPtr& object);

}  // namespace AppleScript
