#include "Platform/linux/stores/SystemZones.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <memory>

#include "Platform/Environment.h"
#include "Platform/linux/PlugIn.h"

namespace {

/// A zone's name leads to a file, so it must not lead anywhere else.
bool isName(const std::string& name) {
  constexpr std::size_t longest = 100;
  return !name.empty() && name.size() <= longest && name.front() != '/' &&
         std::all_of(name.begin(), name.end(),
                     [](unsigned char c) { return std::isalnum(c) || c == '/' || c == '_' || c == '-' || c == '+'; });
}

std::optional<std::string> definitionOf(const std::string& name, const std::string& id, bool isShort) {
  using Definition = std::string*(const std::string&, const std::string&, bool);
  static auto* const definition = reinterpret_cast<Definition*>(PlugIn::function("zones", "systemZoneDefinition"));
  const std::unique_ptr<std::string> text(
      definition(name == "UTC" || name == "GMT" ? "Etc/" + name : name, id, isShort));
  return text->empty() ? std::nullopt : std::optional(*text);
}

}  // namespace

std::optional<std::string> SystemZones::definition(const std::string& id, Extent extent) {
  auto name = id;
  while (true) {
    if (isName(name))
      if (auto text = definitionOf(name, id, extent == Extent::since1970)) return text;
    const auto slash = name.find('/', 1);
    if (slash == std::string::npos || id.front() != '/') return std::nullopt;  // only ids with a maker's name in front
    name.erase(0, name.front() == '/' ? 1 : slash + 1);
  }
}

std::optional<std::string> SystemZones::local() {
  auto name = Environment::value("TZ").value_or("");
  std::error_code failure;
  if (name.empty()) name = std::filesystem::read_symlink("/etc/localtime", failure).string();
  if (name.starts_with(':')) name.erase(0, 1);
  constexpr std::string_view zones = "/zoneinfo/";  // the directory that a path leads into
  if (const auto place = name.find(zones); place != std::string::npos) name.erase(0, place + zones.size());
  return definition(name, Extent::since1970) ? std::optional(name) : std::nullopt;
}
