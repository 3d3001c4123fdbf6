#include "Platform/linux/stores/Permissions.h"

#include <algorithm>
#include <array>

#include "Platform/Desktop.h"
#include "Platform/Files.h"
#include "Platform/Json.h"
#include "Platform/linux/stores/StoreLock.h"

namespace Permissions {

namespace {

constexpr std::array<std::string_view, 5> words = {"not determined", "restricted", "denied", "full access",
                                                   "write only"};

std::filesystem::path file() { return Desktop::root() / "permissions.json"; }
std::filesystem::path lockFile() { return Desktop::root() / ".permissions.lock"; }

std::string key(Subject subject) { return subject == Subject::events ? "events" : "reminders"; }

/// Nothing when the file is there and no JSON object.
std::optional<Json> read() {
  try {
    const auto text = Files::read(file());
    return text ? JsonText::parseObject(*text) : Json::object();
  } catch (const FileFailure&) {
    return std::nullopt;
  }
}

std::optional<std::string> field(const Json& permissions, Subject subject, const char* name) {
  const auto entry = permissions.find(key(subject));
  if (entry == permissions.end()) return std::nullopt;
  const bool isText = entry->is_object() && entry->contains(name) && entry->at(name).is_string();
  return isText ? entry->at(name).get<std::string>() : std::string();
}

Access access(const std::optional<Json>& permissions, Subject subject) {
  if (!permissions) return Access::denied;
  const auto said = field(*permissions, subject, "access");
  return said ? accessOf(*said).value_or(Access::denied) : Access::full;
}

void write(Json permissions, Subject subject, Access access, std::optional<bool> consent) {
  auto& entry = permissions[key(subject)];
  if (!entry.is_object()) entry = Json::object();
  entry["access"] = word(access);
  if (consent) entry["consent"] = *consent ? "give" : "refuse";
  Files::replace(file(), JsonText::writePretty(permissions) + "\n");
}

}  // namespace

Access access(Subject subject) { return access(read(), subject); }

bool request(Subject subject) {
  const StoreLock lock(lockFile());
  const auto permissions = read();
  const auto now = access(permissions, subject);
  if (now != Access::notDetermined && now != Access::writeOnly) return now == Access::full;
  const auto consent = field(*permissions, subject, "consent").value_or("");
  const bool isGiven = consent == "give";
  if (isGiven || consent == "refuse") write(*permissions, subject, isGiven ? Access::full : Access::denied, {});
  return isGiven;
}

void set(Subject subject, Access access, std::optional<bool> consent) {
  const StoreLock lock(lockFile());
  const auto permissions = read();
  if (!permissions) throw Error(file().string() + " can't be read as JSON; mend it, or remove it and set access anew.");
  write(*permissions, subject, access, consent);
}

std::string_view word(Access access) { return words.at(static_cast<std::size_t>(access)); }

std::optional<Access> accessOf(std::string_view word) {
  const auto* place = std::find(words.begin(), words.end(), word);
  if (place == words.end()) return std::nullopt;
  return static_cast<Access>(place - words.begin());
}

}  // namespace Permissions
