// What a script computes with. Lists, records and dates are shared and changed in place, as in the
// language: `set b to a` names the same list twice, `copy a to b` doesn't.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "Platform/Error.h"
#include "Platform/linux/applescript/Deferred.h"

namespace AppleScript {

class Object;
class Value;
struct Reference;  // a reference that is not resolved yet: `a reference to x`, a loop's variable
struct Script;     // `me`

using ObjectPtr = std::shared_ptr<Object>;

/// `missing value`.
struct Missing {
  bool operator==(const Missing&) const = default;
};

/// A class used as a value: `integer`, `note`, `to recipient`.
struct TypeName {
  std::string name;
};

/// An application's or the language's constant: `iMessage`, `yes`, `June`.
struct Constant {
  std::string name;
};

/// Wall-clock time: seconds since 1970-01-01 00:00:00 of no time zone, so that a day is always 86400.
struct Date {
  std::int64_t seconds = 0;
};

/// Where a new or moved element goes: `end of emails of p`, `before note 1`.
struct Insertion {
  enum class Place { beginning, end, before, after };
  Place place = Place::end;
  ObjectPtr container;       // the owner of the elements
  std::string elementClass;  // class name, singular
  ObjectPtr sibling;         // for before and after
};

using List = std::vector<Value>;
/// Labels in the order they were given: as the dictionary spells them ("name", "MIME type"), others
/// lower-cased.
using Record = std::vector<std::pair<std::string, Value>>;

/// A path: `POSIX file "/a/b"` and, once it is known to exist, `alias`.
struct File {
  std::string path;  // POSIX
  bool alias = false;
};

class Value {
 public:
  using ListPtr = std::shared_ptr<List>;
  using RecordPtr = std::shared_ptr<Record>;
  using DatePtr = std::shared_ptr<Date>;
  using Storage =
      std::variant<std::monostate, Missing, bool, std::int64_t, double, std::shared_ptr<const std::string>, DatePtr,
                   ListPtr, RecordPtr, TypeName, Constant, File, ObjectPtr, std::shared_ptr<const Insertion>,
                   std::shared_ptr<const Reference>, std::shared_ptr<Script>>;

  Value() = default;  // no value: the result of a statement that has none
  Value(Missing missing) : storage_(missing) {}
  Value(bool truth) : storage_(truth) {}
  Value(int number) : storage_(std::int64_t{number}) {}
  Value(std::int64_t number) : storage_(number) {}
  Value(double number) : storage_(number) {}
  Value(std::string text) : storage_(std::make_shared<const std::string>(std::move(text))) {}
  Value(std::string_view text) : Value(std::string(text)) {}
  Value(const char* text) : Value(std::string(text)) {}
  Value(Date date) : storage_(std::make_shared<Date>(date)) {}
  Value(List list);
  Value(Record record);
  Value(TypeName type) : storage_(std::move(type)) {}
  Value(Constant constant) : storage_(std::move(constant)) {}
  Value(File file) : storage_(std::move(file)) {}
  Value(ObjectPtr object) : storage_(std::move(object)) {}
  Value(Insertion insertion) : storage_(std::make_shared<const Insertion>(std::move(insertion))) {}
  Value(Storage storage) : storage_(std::move(storage)) {}

  /// The alternative, or null: `value.as<bool>()`, `value.as<ObjectPtr>()`.
  template <class T>
  const T* as() const {
    return std::get_if<T>(&storage_);
  }
  const std::string* text() const {
    auto text = as<std::shared_ptr<const std::string>>();
    return text ? text->get() : nullptr;
  }
  List* list() const {
    auto list = as<ListPtr>();
    return list ? list->get() : nullptr;
  }
  Record* record() const {
    auto record = as<RecordPtr>();
    return record ? record->get() : nullptr;
  }
  Date* date() const {
    auto date = as<DatePtr>();
    return date ? date->get() : nullptr;
  }
  ObjectPtr object() const {
    auto object = as<ObjectPtr>();
    return object ? *object : nullptr;
  }
  bool isNothing() const { return storage_.index() == 0; }
  bool isMissing() const { return as<Missing>() != nullptr; }
  const Storage& storage() const { return storage_; }

 private:
  Storage storage_;
};

// A nesting of any depth (`repeat` / `set L to {L}`) is freed without recursion.
inline Value::Value(List list) : storage_(shareDeferred(new List(std::move(list)))) {}
inline Value::Value(Record record) : storage_(shareDeferred(new Record(std::move(record)))) {}

/// A failure that a script can catch with `on error`. `description()` is the text without the number.
class ScriptError : public Error {
 public:
  ScriptError(int number, std::string text) : Error(std::move(text)), number_(number) {}
  int number() const noexcept { return number_; }

 private:
  int number_;
};

namespace ErrorNumber {
inline constexpr int userCanceled = -128;
inline constexpr int fileNotFound = -43;
inline constexpr int notRunning = -600;
inline constexpr int cannotCoerce = -1700;
inline constexpr int parameterMissing = -1701;
inline constexpr int notUnderstood = -1708;
inline constexpr int timedOut = -1712;
inline constexpr int invalidIndex = -1719;
inline constexpr int noSuchObject = -1728;
inline constexpr int general = -2700;
inline constexpr int divideByZero = -2701;
inline constexpr int resultTooLarge = -2702;
inline constexpr int stackOverflow = -2706;
inline constexpr int parameterTwice = -2750;
inline constexpr int propertyTwice = -2751;
inline constexpr int handlerTwice = -2752;
inline constexpr int notDefined = -2753;
inline constexpr int exitOutsideRepeat = -2755;
inline constexpr int noResult = -2763;
inline constexpr int handlerFailed = -10000;
inline constexpr int accessNotAllowed = -10003;
inline constexpr int cannotSet = -10006;
}  // namespace ErrorNumber

}  // namespace AppleScript
