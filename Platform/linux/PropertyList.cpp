#include "Platform/PropertyList.h"

#include <memory>

#include "Platform/Json.h"
#include "Platform/linux/PlugIn.h"

std::string PropertyList::xml(const Json& value) {
  using Write = std::string*(const Json&);
  static auto* const write = reinterpret_cast<Write*>(PlugIn::function("propertylists", "propertyListXML"));
  return *std::unique_ptr<std::string>(write(value));
}

std::optional<Json> PropertyList::parse(std::string_view bytes) {
  using Read = Json*(std::string_view);
  static auto* const read = reinterpret_cast<Read*>(PlugIn::function("propertylists", "propertyListValue"));
  const std::unique_ptr<Json> value(read(bytes));
  return value ? std::optional(std::move(*value)) : std::nullopt;
}
