// What an application's object does that overrides nothing.
#include "Platform/linux/applescript/Application.h"

#include "Platform/linux/applescript/Coercion.h"

namespace AppleScript {

void Object::setProperty(std::string_view name, const Value& value) {
  throw ScriptError(ErrorNumber::cannotSet,
                    "Can’t set " + std::string(name) + " of " + specifier() + " to " + sourceForm(value) + ".");
}

std::vector<ObjectPtr> Object::elements(std::string_view) { return {}; }

ObjectPtr Object::elementNamed(std::string_view className, std::string_view name) {
  const std::string key = comparisonKey(name);
  for (ObjectPtr& element : elements(className))
    if (const Value candidate = element->property("name"); candidate.text() && comparisonKey(*candidate.text()) == key)
      return std::move(element);
  return nullptr;
}

ObjectPtr Object::elementWithId(std::string_view className, const Value& id) {
  for (ObjectPtr& element : elements(className))
    if (equal(element->property("id"), id)) return std::move(element);
  return nullptr;
}

}  // namespace AppleScript
