// Takes a step from a base: one function for each kind of base, each for reading and for writing.
#include "Platform/linux/applescript/References.h"

#include <unicode/utf8.h>

#include <algorithm>
#include <map>
#include <optional>
#include <random>

#include "Platform/Text.h"
#include "Platform/linux/applescript/Coercion.h"
#include "Platform/linux/applescript/DateForms.h"
#include "Platform/linux/applescript/Deferred.h"
#include "Platform/linux/applescript/Schema.h"
#include "Platform/linux/applescript/Stack.h"
#include "Platform/linux/applescript/TextParts.h"

namespace AppleScript {
namespace {

using Form = Selector::Form;

std::string keyForm(const Value& key) { return sourceForm(resolved(key)); }

// The step as messages show it: note "x", text 1 thru 4, every note.
std::string describe(const Selector& step) {
  switch (step.form) {
    case Form::property:
    case Form::userProperty:
      return step.name;
    case Form::every:
      return "every " + step.name;
    case Form::index:
    case Form::named:
      return step.name + " " + keyForm(step.from);
    case Form::id:
      return step.name + " id " + keyForm(step.from);
    case Form::range:
      return step.shown + " " + keyForm(step.from) + " thru " + keyForm(step.to);
    case Form::middle:
      return "middle " + step.name;
    case Form::some:
      return "some " + step.name;
  }
  return step.name;
}

// Messages of an application show its objects without the application itself. A condition stands last:
// note 1 of folder "x" whose name = "y".
std::string describe(const Selector& step, const Value& base) {
  const ObjectPtr object = base.object();
  const bool outermost = base.as<std::shared_ptr<Script>>() || dynamic_cast<Application*>(object.get());
  const std::string container = outermost ? "" : " of " + (object ? object->specifier() : sourceForm(base));
  return describe(step) + container + (step.condition ? " whose " + step.condition() : "");
}

[[noreturn]] void cannotGet(const Selector& step, const Value& base, bool invalidIndex = false) {
  const std::string text = "Can’t get " + describe(step, base) + (invalidIndex ? ". Invalid index." : ".");
  const int number = invalidIndex ? ErrorNumber::invalidIndex : ErrorNumber::noSuchObject;
  if (const ObjectPtr object = base.object()) throw applicationError(object->application(), number, text);
  throw ScriptError(number, text);
}

[[noreturn]] void cannotSet(const Selector& step, const Value& base, const Value& value) {
  const std::string text = "Can’t set " + describe(step, base) + " to " + sourceForm(value) + ".";
  if (const ObjectPtr object = base.object())
    throw applicationError(object->application(), ErrorNumber::accessNotAllowed, text + " Access not allowed.");
  throw ScriptError(ErrorNumber::cannotSet, text);
}

// The place that an index means in `size` things, counted from 0; nothing when there is none.
std::optional<std::size_t> place(std::int64_t index, std::size_t size) {
  const auto count = static_cast<std::int64_t>(size);
  if (index < 0) index += count + 1;
  if (index < 1 || index > count) return std::nullopt;
  return static_cast<std::size_t>(index - 1);
}

std::size_t randomPlace(std::size_t size) {
  static thread_local std::mt19937_64 generator{std::random_device{}()};
  return std::uniform_int_distribution<std::size_t>(0, size - 1)(generator);
}

struct Bounds {
  std::size_t first = 0;
  std::size_t last = 0;
};

std::optional<Bounds> bounds(const Selector& step, std::size_t size) {
  const auto from = place(asInteger(step.from), size);
  const auto to = place(asInteger(step.to), size);
  if (!from || !to) return std::nullopt;
  return Bounds{std::min(*from, *to), std::max(*from, *to)};
}

// One of `size` things by index, middle or some; nothing when it isn't there.
std::optional<std::size_t> single(const Selector& step, std::size_t size) {
  if (step.form == Form::index) return place(asInteger(step.from), size);
  if (size == 0) return std::nullopt;
  return step.form == Form::middle ? (size - 1) / 2 : randomPlace(size);
}

// ---- Application objects

bool hasElements(Object& object, const std::string& className) {
  return Schema::of(object.application()).hasElement(object.className(), className);
}

const PropertyTerm* termOf(Object& object, const std::string& property) {
  return Schema::of(object.application()).property(object.className(), property);
}

Value objectProperty(const ObjectPtr& object, const Selector& step) {
  Application& application = object->application();
  if (termOf(*object, step.name)) return ask(application, [&] { return object->property(step.name); });
  if (step.name == "class") return TypeName{object->className()};
  if (step.name == "contents") return object;
  if (step.name == "name" && object.get() == &application) return application.name();
  if (const Value plain = plainValueOf(object); !plain.isNothing()) return get(plain, step, {});
  cannotGet(step, object);
}

std::vector<ObjectPtr> objectElements(const ObjectPtr& object, const Selector& step) {
  if (!hasElements(*object, step.name)) cannotGet(step, object);
  return ask(object->application(), [&] { return object->elements(step.name); });
}

std::vector<ObjectPtr> filteredElements(const ObjectPtr& object, const Selector& step, std::size_t most) {
  std::vector<ObjectPtr> all = objectElements(object, step);
  if (!step.filter) return all;
  std::vector<ObjectPtr> kept;
  for (ObjectPtr& element : all) {
    if (kept.size() >= most) break;
    if (step.filter(element)) kept.push_back(std::move(element));
  }
  return kept;
}

// An element that Object::elementNamed or elementWithId finds.
Value keyedElement(const ObjectPtr& object, const Selector& step) {
  if (!hasElements(*object, step.name)) cannotGet(step, object);
  const Value key = resolved(step.from);
  const ObjectPtr found = ask(object->application(), [&] {
    return step.form == Form::id ? object->elementWithId(step.name, key) : object->elementNamed(step.name, asText(key));
  });
  if (!found) cannotGet(step, object);
  return found;
}

List asList(const std::vector<ObjectPtr>& objects, Bounds part) {
  List list;
  list.reserve(part.last + 1 - part.first);
  for (std::size_t i = part.first; i <= part.last; ++i) list.emplace_back(objects[i]);
  return list;
}

// The class of a plural that isn't an element may still be a property: `email addresses of account 1`.
Value objectEvery(const ObjectPtr& object, const Selector& step, const Reading& reading) {
  if (!hasElements(*object, step.name)) {
    for (const std::string& name : {step.shown, step.name})
      if (termOf(*object, name)) return objectProperty(object, {Form::property, name, name});
    if (const Value plain = plainValueOf(object); !plain.isNothing()) return get(plain, step, reading);
  }
  const auto elements = filteredElements(object, step, SIZE_MAX);
  return elements.empty() ? List{} : asList(elements, {0, elements.size() - 1});
}

Value fromObject(const ObjectPtr& object, const Selector& step, const Reading& reading) {
  if (isProperty(step.form)) return objectProperty(object, step);
  if (step.form == Form::every) return objectEvery(object, step, reading);
  if (step.form == Form::named || step.form == Form::id) return keyedElement(object, step);
  if (isTextPart(step.name) && !hasElements(*object, step.name))
    if (const Value plain = plainValueOf(object); !plain.isNothing()) return get(plain, step, reading);
  const std::int64_t index = step.form == Form::index ? asInteger(step.from) : 0;
  const auto elements = filteredElements(object, step, index > 0 ? static_cast<std::size_t>(index) : SIZE_MAX);
  if (step.form == Form::range) {
    if (const auto part = bounds(step, elements.size())) return asList(elements, *part);
  } else if (const auto at = single(step, elements.size())) {
    return elements[*at];
  }
  cannotGet(step, object, true);
}

// ---- Texts

// The id of a text: the number of its character in Unicode, a list of them for several.
Value codePoints(const std::string& text) {
  List points;
  for (const char32_t point : Text::codePoints(text)) points.emplace_back(std::int64_t{point});
  return points.size() == 1 ? points.front() : Value(std::move(points));
}

Value fromText(const Value& base, const Selector& step, const Reading& reading) {
  const auto& text = *base.as<std::shared_ptr<const std::string>>();
  if (step.form == Form::property) {
    if (step.name == "length") return static_cast<std::int64_t>(textParts(text, "character", {})->size());
    if (step.name == "quoted form") return shellQuoted(*text);
    if (step.name == "POSIX path") return *text;
    if (step.name == "contents") return base;
    if (step.name == "id") return codePoints(*text);
  }
  if (isProperty(step.form) || step.filter || !isTextPart(step.name)) cannotGet(step, base);
  if (step.form == Form::every && step.name == "text") return base;
  const auto parts =
      textParts(text, step.name == "text" ? "character" : step.name,
                step.name == "text item" ? delimiterTexts(reading.delimiters) : std::vector<std::string>());
  if (step.form == Form::every || step.form == Form::range) {
    const auto part = step.form == Form::range ? bounds(step, parts->size()) : Bounds{0, parts->size() - 1};
    if (!part) cannotGet(step, base);
    if (step.name == "text") {
      const std::size_t begin = (*parts)[part->first].begin;
      return text->substr(begin, (*parts)[part->last].end - begin);
    }
    List list;
    for (std::size_t i = part->first; i < parts->size() && i <= part->last; ++i) list.emplace_back(parts->text(i));
    return list;
  }
  if (step.form == Form::named || step.form == Form::id || step.name == "text") cannotGet(step, base);
  const auto at = single(step, parts->size());
  if (!at) cannotGet(step, base);
  return parts->text(*at);
}

// ---- Lists

List ofClass(const List& list, std::string_view className) {
  List kept;
  for (const Value& value : list)
    if (isOfClass(resolved(value), className)) kept.push_back(value);
  return kept;
}

std::optional<Value> listProperty(const Value& base, const std::string& name) {
  const List& list = *base.list();
  if (name == "length") return Value(static_cast<std::int64_t>(list.size()));
  if (name == "reverse") return Value(List(list.rbegin(), list.rend()));
  if (name == "rest" && !list.empty()) return Value(List(list.begin() + 1, list.end()));
  if (name == "contents") return base;
  return std::nullopt;
}

Value fromList(const Value& base, const Selector& step) {
  if (isProperty(step.form)) {
    if (auto value = listProperty(base, step.name)) return *value;
    cannotGet(step, base);
  }
  if (step.filter || step.form == Form::named || step.form == Form::id) cannotGet(step, base);
  const bool all = step.name == "item";
  const List kept = all ? List() : ofClass(*base.list(), step.name);
  const List& list = all ? *base.list() : kept;
  if (step.form == Form::every) return all ? List(list) : kept;
  if (step.form == Form::range) {
    const auto part = bounds(step, list.size());
    if (!part) cannotGet(step, base);
    return List(list.begin() + static_cast<std::ptrdiff_t>(part->first),
                list.begin() + static_cast<std::ptrdiff_t>(part->last) + 1);
  }
  const auto at = single(step, list.size());
  if (!at) cannotGet(step, base);
  return list[*at];
}

Value* listItem(List& list, const Selector& step) {
  if (step.name != "item" || step.form != Form::index) return nullptr;
  const auto at = place(asInteger(step.from), list.size());
  return at ? &list[*at] : nullptr;
}

// ---- Records, dates, files

Value* field(Record& record, std::string_view label) {
  for (auto& [name, value] : record)
    if (name == label) return &value;
  return nullptr;
}

Value fromRecord(const Value& base, const Selector& step) {
  for (const std::string& name : {step.name, step.shown})
    if (Value* value = field(*base.record(), name)) return *value;
  if (step.name == "length") return static_cast<std::int64_t>(base.record()->size());
  if (step.name == "contents") return base;
  cannotGet(step, base);
}

std::optional<Value> dateProperty(Date date, const std::string& name) {
  const DateFields f = fields(date);
  if (name == "year") return Value(f.year);
  if (name == "month") return Value(Constant{monthNames[f.month - 1]});
  if (name == "day") return Value(f.day);
  if (name == "time") return Value(f.time);
  if (name == "hours") return Value(f.time / 3600);
  if (name == "minutes") return Value(f.time / 60 % 60);
  if (name == "seconds") return Value(f.time % 60);
  if (name == "weekday") return Value(Constant{weekdayNames[weekday(date)]});
  if (name == "date string") return Value(dateText(date));
  if (name == "time string") return Value(timeText(date));
  if (name == "short date string") return Value(shortDateText(date));
  return std::nullopt;
}

bool setDateProperty(Date& date, const std::string& name, const Value& value) {
  DateFields f = fields(date);
  const std::map<std::string, std::pair<std::int64_t*, std::int64_t>> units = {
      {"hours", {&f.time, 3600}}, {"minutes", {&f.time, 60}}, {"seconds", {&f.time, 1}}};
  const std::map<std::string, std::int64_t*> whole = {
      {"year", &f.year}, {"month", &f.month}, {"day", &f.day}, {"time", &f.time}};
  if (auto unit = units.find(name); unit != units.end()) {
    const auto [field, size] = unit->second;
    const std::int64_t current = size == 3600 ? *field / 3600 : size == 60 ? *field / 60 % 60 : *field % 60;
    *field += (std::clamp<std::int64_t>(asInteger(value), -1'000'000'000, 1'000'000'000) - current) * size;
  } else if (auto part = whole.find(name); part != whole.end()) {
    *part->second = asInteger(value);
  } else {
    return false;
  }
  date = fromFields(f);
  return true;
}

Value fromFile(const Value& base, const Selector& step) {
  const std::string& path = base.as<File>()->path;
  if (step.name == "POSIX path") return path;
  if (step.name == "name") return path.substr(path.find_last_of('/', path.size() < 2 ? 0 : path.size() - 2) + 1);
  if (step.name == "contents") return base;
  cannotGet(step, base);
}

bool holdsReference(const Value& value) { return value.as<std::shared_ptr<const Reference>>() != nullptr; }

}  // namespace

Value plainValueOf(const ObjectPtr& object) {
  return ask(object->application(), [&] { return object->plainValue(); });
}

std::string textOfCodePoints(const Value& ids) {
  const Value plain = resolved(ids);
  std::string text;
  for (const Value& id : plain.list() ? *plain.list() : List{plain}) {
    const std::int64_t point = asInteger(id);
    if (point < 0 || point > 0x10FFFF || U_IS_SURROGATE(point))
      throw ScriptError(ErrorNumber::cannotCoerce, "Can’t get character id " + sourceForm(id) + ".");
    char bytes[U8_MAX_LENGTH];
    std::int32_t size = 0;
    U8_APPEND_UNSAFE(bytes, size, static_cast<UChar32>(point));
    text.append(bytes, static_cast<std::size_t>(size));
  }
  return text;
}

Value makeReference(Reference reference) {
  return Value::Storage(std::shared_ptr<const Reference>(shareDeferred(new Reference(std::move(reference)))));
}

Value resolved(const Value& value) {
  Value current = value;
  for (int steps = 0; auto reference = current.as<std::shared_ptr<const Reference>>(); ++steps) {
    if (steps > 100'000) throw ScriptError(ErrorNumber::stackOverflow, "Stack overflow.");
    const std::shared_ptr<const Reference> link = *reference;
    const List* list = link->item > 0 ? link->base.list() : nullptr;
    if (list && link->item <= list->size())
      current = Value((*list)[link->item - 1]);
    else if (list)
      cannotGet({Form::index, "item", "item", static_cast<std::int64_t>(link->item)}, link->base);
    else
      current = get(link->base, link->selector, {});
  }
  return current;
}

bool holdsOthers(const Value& value) { return value.list() || value.record() || holdsReference(value); }

Value settled(const Value& value) {
  checkStack();
  const Value plain = resolved(value);
  if (const ObjectPtr object = plain.object()) {
    const Value inner = plainValueOf(object);
    return inner.isNothing() ? plain : inner;
  }
  // Lists within are looked through too: one that holds itself ends here, and not in an application.
  if (auto list = plain.list(); list && std::any_of(list->begin(), list->end(), holdsOthers)) {
    List items;
    items.reserve(list->size());
    for (const Value& item : *list) items.push_back(settled(item));
    return items;
  }
  if (auto record = plain.record()) {
    Record copy = *record;
    for (auto& entry : copy) entry.second = settled(entry.second);
    return copy;
  }
  return plain;
}

Value copied(const Value& value) {
  checkStack();
  if (auto date = value.date()) return *date;
  if (auto list = value.list()) {
    List items;
    items.reserve(list->size());
    for (const Value& item : *list) items.push_back(copied(item));
    return items;
  }
  if (auto record = value.record()) {
    Record copy;
    for (const auto& [label, item] : *record) copy.emplace_back(label, copied(item));
    return copy;
  }
  return value;
}

Value get(const Value& base, const Selector& step, const Reading& reading) {
  checkStack();
  if (holdsReference(base) && !(isProperty(step.form) && step.name == "contents"))
    return get(resolved(base), step, reading);
  if (holdsReference(base)) return resolved(base);
  if (const ObjectPtr object = base.object()) return fromObject(object, step, reading);
  if (isProperty(step.form) && step.name == "class" && !(base.record() && field(*base.record(), "class")))
    return TypeName{classOf(base)};
  if (base.text()) return fromText(base, step, reading);
  if (base.list()) return fromList(base, step);
  if (base.record()) return fromRecord(base, step);
  if (auto date = base.date(); date && isProperty(step.form))
    if (auto value = dateProperty(*date, step.name)) return *value;
  if (base.as<File>()) return fromFile(base, step);
  if (isProperty(step.form) && step.name == "contents") return base;
  cannotGet(step, base);
}

void set(const Value& target, const Selector& step, const Value& value, const Reading& reading) {
  checkStack();
  if (auto link = target.as<std::shared_ptr<const Reference>>()) {
    if (!isProperty(step.form) || step.name != "contents") return set(resolved(target), step, value, reading);
    const Selector item{Form::index, "item", "item", static_cast<std::int64_t>((*link)->item)};
    return set((*link)->base, (*link)->item > 0 ? item : (*link)->selector, value, reading);
  }
  if (const ObjectPtr object = target.object(); object && isProperty(step.form)) {
    const PropertyTerm* term = termOf(*object, step.name);
    if (!term) cannotGet(step, target);
    if (!term->writable) cannotSet(step, target, value);
    return ask(object->application(), [&] { object->setProperty(step.name, settled(value)); });
  }
  if (auto record = target.record(); record && isProperty(step.form))
    if (Value* slot = field(*record, step.name)) return void(*slot = value);
  if (auto list = target.list())
    if (Value* slot = listItem(*list, step)) return void(*slot = value);
  if (auto date = target.date(); date && isProperty(step.form) && setDateProperty(*date, step.name, resolved(value)))
    return;
  if (!isProperty(step.form)) get(target, step, reading);  // for the error of what isn't there
  cannotSet(step, target, value);
}

std::size_t count(const Value& base, const Selector& step, const Reading& reading) {
  const ObjectPtr object = base.object();
  if (object && step.form == Form::every && hasElements(*object, step.name))
    return filteredElements(object, step, SIZE_MAX).size();
  return lengthOf(get(base, step, reading));
}

std::size_t lengthOf(const Value& value) {
  const Value plain = resolved(value);
  if (auto text = plain.as<std::shared_ptr<const std::string>>()) return textParts(*text, "character", {})->size();
  if (auto list = plain.list()) return list->size();
  if (auto record = plain.record()) return record->size();
  throw ScriptError(ErrorNumber::notUnderstood, sourceForm(plain) + " doesn’t understand the count message.");
}

std::vector<std::string> delimiterTexts(const Value& delimiters) {
  const Value plain = resolved(delimiters);
  std::vector<std::string> texts;
  if (auto list = plain.list())
    for (const Value& item : *list) texts.push_back(asText(item));
  else if (!plain.isNothing() && !plain.isMissing())
    texts.push_back(asText(plain));
  return texts;
}

std::string classOf(const Value& value) {
  const Value plain = resolved(value);
  if (plain.text()) return "text";
  if (plain.as<std::int64_t>()) return "integer";
  if (plain.as<double>()) return "real";
  if (plain.as<bool>()) return "boolean";
  if (plain.list()) return "list";
  if (plain.record()) return "record";
  if (plain.date()) return "date";
  if (plain.as<Constant>()) return "constant";
  if (auto file = plain.as<File>()) return file->alias ? "alias" : "POSIX file";
  if (const ObjectPtr object = plain.object()) return object->className();
  if (plain.as<std::shared_ptr<Script>>()) return "script";
  return "class";  // of classes, and of missing value
}

bool isOfClass(const Value& value, std::string_view className) {
  const std::string actual = classOf(value);
  if (actual == className || className == "item") return true;
  if (className == "number") return actual == "integer" || actual == "real";
  if (const ObjectPtr object = value.object()) return Schema::of(object->application()).inherits(actual, className);
  return false;
}

std::string shellQuoted(std::string_view text) { return "'" + Text::replaceAll(text, "'", "'\\''") + "'"; }

ScriptError applicationError(Application& application, int number, const std::string& text) {
  constexpr int notAuthorized = -1743;
  const std::string prefix = application.name() + " got an error: ";
  if (number == notAuthorized || text.starts_with(prefix)) return ScriptError(number, text);
  return ScriptError(number, prefix + text);
}

}  // namespace AppleScript
