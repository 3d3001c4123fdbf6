#include "TavroCore/harness/PendingStore.h"

#include <algorithm>
#include <cerrno>

#include "Platform/Files.h"
#include "Platform/Json.h"
#include "TavroCore/harness/ConfigDir.h"
#include "TavroCore/harness/RecordFields.h"

namespace {

/// Raises what the file system would say of a name that it can't take.
void requirePlainFileName(const PendingStore& store, const std::string& id) {
  if (!PendingStore::isPlainFileName(id)) throw FileFailure("write an action into", store.dir, EINVAL);
}

bool readTexts(const Json& object, Arguments& into) {
  for (const auto& [name, value] : object.items()) {
    if (!value.is_string()) return false;
    into.emplace(name, value.get<std::string>());
  }
  return object.is_object();
}

}  // namespace

OrderedJson toJson(const PendingAction& action) {
  OrderedJson json = {{"id", action.id}, {"tool", action.tool}};
  json["args"] = OrderedJson(action.args);
  json["summary"] = action.summary;
  json["createdAt"] = action.createdAt;
  if (action.preview) json["preview"] = *action.preview;
  return json;
}

std::optional<PendingAction> pendingActionFromJson(std::string_view text) {
  const auto object = JsonText::parseObject(text);
  if (!object) return std::nullopt;
  using RecordFields::read, RecordFields::value;
  PendingAction action;
  const bool whole = read(*object, "id", action.id) && read(*object, "tool", action.tool) &&
                     readTexts(value(*object, "args"), action.args) && read(*object, "summary", action.summary) &&
                     read(*object, "createdAt", action.createdAt) && read(*object, "preview", action.preview);
  if (!whole) return std::nullopt;
  return action;
}

PendingStore::PendingStore() : PendingStore(ConfigDir::url()) {}

PendingStore::PendingStore(const std::filesystem::path& configDir) : dir(configDir / "pending") {
  try {
    Files::createDirectories(dir);
  } catch (const FileFailure&) {
    // The first write names the directory and the reason.
  }
}

void PendingStore::add(const PendingAction& action) const {
  requirePlainFileName(*this, action.id);
  Files::replace(file(action.id), JsonText::write(toJson(action)));
}

bool PendingStore::addNew(const PendingAction& action) const {
  requirePlainFileName(*this, action.id);
  if (Files::exists(claimedFile(action.id))) return false;
  return Files::createNew(file(action.id), JsonText::write(toJson(action)));
}

std::vector<PendingAction> PendingStore::list() const {
  std::vector<PendingAction> actions;
  for (const std::string& name : Files::listIfPossible(dir)) {
    if (std::filesystem::path(name).extension() != ".json") continue;
    const auto text = Files::readIfPossible(dir / name);
    if (auto action = text ? pendingActionFromJson(*text) : std::nullopt) actions.push_back(std::move(*action));
  }
  std::stable_sort(actions.begin(), actions.end(),
                   [](const PendingAction& a, const PendingAction& b) { return a.createdAt < b.createdAt; });
  return actions;
}

std::optional<PendingAction> PendingStore::get(std::string_view id) const {
  if (!isPlainFileName(id)) return std::nullopt;
  const auto text = Files::readIfPossible(file(id));
  return text ? pendingActionFromJson(*text) : std::nullopt;
}

void PendingStore::remove(std::string_view id) const {
  if (!isPlainFileName(id)) return;
  try {
    Files::remove(file(id));
  } catch (const FileFailure&) {
    // Whoever wants to know looks again.
  }
}

std::filesystem::path PendingStore::file(std::string_view id) const { return dir / (std::string(id) + ".json"); }

std::filesystem::path PendingStore::claimedFile(std::string_view id) const {
  return dir / (std::string(id) + ".claimed");
}

bool PendingStore::isPlainFileName(std::string_view id) {
  constexpr std::string_view forbidden("/\0", 2);
  return !id.empty() && id.front() != '.' && id.find_first_of(forbidden) == std::string_view::npos;
}
