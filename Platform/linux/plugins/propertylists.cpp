// Property lists by libplist, as the module Contents/PlugIns/propertylists.so.
#include <plist/plist.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "Platform/Error.h"
#include "Platform/Json.h"
#include "Platform/PropertyList.h"
#include "Platform/linux/PlugIn.h"

namespace {

using Node = std::unique_ptr<void, decltype(&plist_free)>;
using Characters = std::unique_ptr<char, decltype(&std::free)>;

Node node(const Json& value);

Node array(const Json& items) {
  Node array(plist_new_array(), &plist_free);
  for (const auto& item : items) plist_array_append_item(array.get(), node(item).release());
  return array;
}

Node dictionary(const Json& items) {
  Node dictionary(plist_new_dict(), &plist_free);
  for (const auto& [key, item] : items.items())
    plist_dict_set_item(dictionary.get(), key.c_str(), node(item).release());
  return dictionary;
}

plist_t scalar(const Json& value) {
  if (value.is_string()) return plist_new_string(value.get_ref<const std::string&>().c_str());
  if (value.is_boolean()) return plist_new_bool(value.get<bool>());
  // A whole number's sign is kept on the way.
  if (value.is_number_integer()) return plist_new_uint(static_cast<std::uint64_t>(value.get<std::int64_t>()));
  if (value.is_number_float()) return plist_new_real(value.get<double>());
  throw Error("a property list has no null");
}

Node node(const Json& value) {
  if (value.is_array()) return array(value);
  if (value.is_object()) return dictionary(value);
  return {scalar(value), &plist_free};
}

struct TooDeep {};

Json value(plist_t node, std::size_t depth = 0);

Json array(plist_t node, std::size_t depth) {
  Json result = Json::array();
  for (std::uint32_t i = 0; i < plist_array_get_size(node); ++i)
    result.push_back(value(plist_array_get_item(node, i), depth + 1));
  return result;
}

Json dictionary(plist_t node, std::size_t depth) {
  Json result = Json::object();
  plist_dict_iter place = nullptr;
  plist_dict_new_iter(node, &place);
  const Characters keepsPlace(static_cast<char*>(place), &std::free);
  for (;;) {
    char* key = nullptr;
    plist_t item = nullptr;
    plist_dict_next_item(node, place, &key, &item);
    const Characters keepsKey(key, &std::free);
    if (key == nullptr || item == nullptr) return result;
    result[key] = value(item, depth + 1);
  }
}

std::string text(plist_t node) {
  char* characters = nullptr;
  plist_get_string_val(node, &characters);
  const Characters keeps(characters, &std::free);
  return characters == nullptr ? "" : characters;
}

Json integer(plist_t node) {
  std::uint64_t number = 0;
  plist_get_uint_val(node, &number);
  return static_cast<std::int64_t>(number);
}

Json value(plist_t node, std::size_t depth) {
  if (depth > JsonText::depthLimit) throw TooDeep();
  switch (plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
      std::uint8_t flag = 0;
      plist_get_bool_val(node, &flag);
      return flag != 0;
    }
    case PLIST_UINT:
      return integer(node);
    case PLIST_REAL: {
      double number = 0;
      plist_get_real_val(node, &number);
      return number;
    }
    case PLIST_STRING:
      return text(node);
    case PLIST_ARRAY:
      return array(node, depth);
    case PLIST_DICT:
      return dictionary(node, depth);
    default:
      return nullptr;
  }
}

/// libplist frees a tree by recursion, whatever its depth; a level takes an opening tag at the least. They are counted
/// wherever they stand: closing tags may be feigned by comments.
bool opensTooMany(std::string_view bytes) {
  std::size_t count = 0;
  for (const std::string_view tag : {"<array", "<dict"})
    for (auto at = bytes.find(tag); at != bytes.npos; at = bytes.find(tag, at + 1)) ++count;
  return count > PropertyList::containerLimit;
}

}  // namespace

TAVRO_PLUG_IN std::string* propertyListXML(const Json& value) {
  const Node root = node(value);
  char* characters = nullptr;
  std::uint32_t length = 0;
  plist_to_xml(root.get(), &characters, &length);
  const Characters keeps(characters, &std::free);
  if (characters == nullptr) throw Error("the property list can't be written");
  return new std::string(characters, length);
}

/// Null where the bytes are no property list that `parse` promises to read. Binary ones are none: a few bytes of them
/// can stand for gigabytes, by arrays that are named over and over.
TAVRO_PLUG_IN Json* propertyListValue(std::string_view bytes) try {
  if (bytes.size() > PropertyList::sizeLimit || opensTooMany(bytes)) return nullptr;
  plist_t parsed = nullptr;
  plist_from_xml(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &parsed);
  if (parsed == nullptr) return nullptr;
  const Node root(parsed, &plist_free);
  return new Json(value(root.get()));
} catch (const TooDeep&) {
  return nullptr;
}
