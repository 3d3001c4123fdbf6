// A call's arguments: what the shallow reader takes for an object is one for the full parser too, and every
// member reads back as the same value.
#include <string_view>

#include "Platform/Json.h"
#include "TavroMCP/Server.h"
#include "TavroMCP/ShallowJson.h"
#include "fuzz/Check.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const auto shallow = ShallowJson::parse(text);
  const Json full = Json::parse(text.begin(), text.end(), nullptr, false);
  const bool hasNul = text.find('\0') != std::string_view::npos;
  CHECK(shallow.has_value() == (full.is_object() && !hasNul));
  if (!shallow) return 0;

  const Arguments args = stringArgs(*shallow);
  CHECK(args.size() == full.size());
  for (const auto& [key, value] : full.items()) {
    CHECK(Json::parse(shallow->at(key).json) == value);
    if (value.is_string()) CHECK(args.at(key) == value.get_ref<const std::string&>());
    if (!value.is_string()) CHECK(!args.at(key).empty());
  }
  return 0;
}
