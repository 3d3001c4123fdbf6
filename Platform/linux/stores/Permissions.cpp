#include "Platform/linux/stores/Permissions.h"

#include <algorithm>
#include <array>
#include <string>

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

/// Nothing when the file is there and no JSON object.
std::optional<Json> read() {
  try {
    const auto text = Files::read(file());
    return text ? JsonText::parseObject(*text) : Json::object();
  } catch (const FileFailure&) {
    return std::nullopt;
  }
}

/// The field of that name; null when the object says nothing of it, or when it is no object.
const Json* field(const Json& object, std::string_view name) {
  const auto found = object.find(std::string(name));
  return found == object.end() ? nullptr : &*found;
}

/// What is recorded of the subject. A group that is no object is what is recorded of each of its applications.
const Json* entry(const Json& permissions, Subject subject) {
  const Json* group = field(permissions, subject.group);
  const bool isWhole = subject.application.empty() || group == nullptr || !group->is_object();
  return isWhole ? group : field(*group, subject.application);
}

/// The text in the subject's entry; empty when there is none, nothing when there is no entry.
std::optional<std::string> text(const Json& permissions, Subject subject, std::string_view name) {
  const Json* recorded = entry(permissions, subject);
  if (recorded == nullptr) return std::nullopt;
  const Json* said = field(*recorded, name);
  return said != nullptr && said->is_string() ? said->get<std::string>() : std::string();
}

/// An access that an application can't have is one that a hand has written, and means nothing.
Access access(const std::optional<Json>& permissions, Subject subject) {
  if (!permissions) return Access::denied;
  const auto said = text(*permissions, subject, "access");
  if (!said) return Access::full;
  const Access access = accessOf(*said).value_or(Access::denied);
  return subject.application.empty() || isPossible(subject, access) ? access : Access::denied;
}

std::optional<bool> consent(const std::optional<Json>& permissions, Subject subject) {
  const auto said = permissions ? text(*permissions, subject, "consent").value_or("") : "";
  if (said != "give" && said != "refuse") return std::nullopt;
  return said == "give";
}

/// May the subject's entry be written without losing what is recorded of others? They are all denied by a group that
/// is no object.
bool isReadable(const std::optional<Json>& permissions, Subject subject) {
  if (!permissions || subject.application.empty()) return permissions.has_value();
  const Json* group = field(*permissions, subject.group);
  return group == nullptr || group->is_object();
}

Json& objectAt(Json& object, std::string_view name) {
  Json& member = object[std::string(name)];
  if (!member.is_object()) member = Json::object();
  return member;
}

void write(Json permissions, Subject subject, Access access, std::optional<bool> consent) {
  Json& group = objectAt(permissions, subject.group);
  Json& recorded = subject.application.empty() ? group : objectAt(group, subject.application);
  recorded["access"] = word(access);
  if (consent) recorded["consent"] = *consent ? "give" : "refuse";
  Files::replace(file(), JsonText::writePretty(permissions) + "\n");
}

bool canBeAskedFor(Access access) { return access == Access::notDetermined || access == Access::writeOnly; }

/// How much a program can come by: 0 nothing, 1 writing, 2 all.
int reach(Access access, std::optional<bool> consent) {
  if (access == Access::full || (canBeAskedFor(access) && consent == true)) return 2;
  return access == Access::writeOnly ? 1 : 0;
}

}  // namespace

Access access(Subject subject) { return access(read(), subject); }

bool request(Subject subject) {
  const StoreLock lock(lockFile());
  const auto permissions = read();
  const auto now = access(permissions, subject);
  if (!canBeAskedFor(now)) return now == Access::full;
  const auto answer = consent(permissions, subject);
  if (answer) write(*permissions, subject, *answer ? Access::full : Access::denied, {});
  return answer == true;
}

bool isPossible(Subject subject, Access access) {
  if (access == Access::writeOnly) return subject.group == Subject::events.group;
  return access != Access::restricted || subject.application.empty();
}

bool widens(Subject subject, Access wanted, std::optional<bool> answer) {
  const auto permissions = read();
  const auto recorded = consent(permissions, subject);
  return reach(wanted, answer ? answer : recorded) > reach(access(permissions, subject), recorded);
}

void set(Subject subject, Access access, std::optional<bool> consent) {
  const StoreLock lock(lockFile());
  const auto permissions = read();
  if (!isReadable(permissions, subject))
    throw Error(file().string() + " can't be read as permissions; mend it, or remove it and set access anew.");
  write(*permissions, subject, access, consent);
}

std::string_view word(Access access) { return words.at(static_cast<std::size_t>(access)); }

std::optional<Access> accessOf(std::string_view word) {
  const auto* place = std::find(words.begin(), words.end(), word);
  if (place == words.end()) return std::nullopt;
  return static_cast<Access>(place - words.begin());
}

}  // namespace Permissions
