// The order of an approval is what makes it safe: lock, claim, run, audit, drop. A crash before the claim
// leaves the action waiting, a crash after it leaves a claim without a lock, which shows as interrupted.
#include "TavroCore/harness/Approval.h"

#include <algorithm>

#include "Platform/FileLock.h"
#include "Platform/Files.h"
#include "TavroCore/harness/AuditLog.h"

namespace Approval {

namespace {

/// An action whose file is locked by us.
struct Held {
  FileLock lock;
  PendingAction action;
  bool claimed = false;  // by an approval that was cut off
};

std::optional<PendingAction> readAction(const std::filesystem::path& file) {
  const auto text = Files::readIfPossible(file);
  return text ? pendingActionFromJson(*text) : std::nullopt;
}

/// Locks the action wherever it lies. A file goes from waiting to claimed to gone, so looking in that
/// order misses none; and a lock counts only while the name leads to the file that it is on, since
/// another approval may have moved it on before the lock was ours.
std::variant<Held, Refusal> hold(const PendingStore& store, std::string_view id) {
  if (!PendingStore::isPlainFileName(id)) return Refusal::notThere;
  for (const bool claimed : {false, true}) {
    const auto file = claimed ? store.claimedFile(id) : store.file(id);
    FileLock lock(file);
    if (lock.state() == FileLock::State::takenByAnother) return Refusal::running;
    if (!lock.isOn(file)) continue;
    auto action = readAction(file);
    if (!action) return Refusal::notThere;
    return Held{std::move(lock), std::move(*action), claimed};
  }
  return Refusal::notThere;
}

/// The lock goes with the file to its new name, so the claim is never seen without it.
std::optional<Refusal> claim(const PendingStore& store, std::string_view id, const Held& held) {
  if (held.claimed || Files::moveToNewName(store.file(id), store.claimedFile(id))) return std::nullopt;
  return Files::exists(store.claimedFile(id)) ? Refusal::interrupted : Refusal::notThere;
}

/// The file's name is the id that counts, whatever its text claims.
bool isTheSame(PendingAction found, const PendingAction& shown) {
  found.id = shown.id;
  return found == shown;
}

/// A claim that can't be removed stays, and shows as interrupted once our lock is gone.
void drop(const PendingStore& store, std::string_view id) try {
  Files::remove(store.claimedFile(id));
} catch (const FileFailure&) {
}

std::optional<Item> claimedItem(const std::filesystem::path& file) {
  auto action = readAction(file);
  if (!action) return std::nullopt;
  return Item{std::move(*action), FileLock::isHeld(file) ? State::running : State::interrupted};
}

}  // namespace

// The claims are read last, so that an action that is claimed in between is seen; it is then seen twice,
// and the claim counts.
std::vector<Item> list(const PendingStore& store) {
  std::vector<Item> items;
  for (auto& action : store.list()) items.push_back({std::move(action), State::waiting});
  for (const std::string& name : Files::listIfPossible(store.dir)) {
    if (std::filesystem::path(name).extension() != ".claimed") continue;
    auto item = claimedItem(store.dir / name);
    if (!item) continue;
    std::erase_if(items, [&](const Item& seen) { return seen.action.id == item->action.id; });
    items.push_back(std::move(*item));
  }
  std::stable_sort(items.begin(), items.end(),
                   [](const Item& a, const Item& b) { return a.action.createdAt < b.action.createdAt; });
  return items;
}

std::optional<Item> get(const PendingStore& store, std::string_view id) {
  if (auto action = store.get(id)) return Item{std::move(*action), State::waiting};
  if (!PendingStore::isPlainFileName(id)) return std::nullopt;
  return claimedItem(store.claimedFile(id));
}

Outcome approve(const PendingStore& store, const PendingAction& shown, const std::string& actor, bool evenIfInterrupted,
                const ToolLookup& tools) {
  const std::string& id = shown.id;
  auto found = hold(store, id);
  if (const auto* refusal = std::get_if<Refusal>(&found)) return *refusal;
  const Held& held = std::get<Held>(found);
  if (held.claimed && !evenIfInterrupted) return Refusal::interrupted;
  if (!isTheSame(held.action, shown)) return Refusal::changed;
  const Tool* tool = tools(held.action.tool);
  if (!tool) return Refusal::unknownTool;
  if (const auto refusal = claim(store, id, held)) return *refusal;

  auto built = HarnessRunner::executeDecided(*tool, held.action.args, actor, "approved:" + id);
  drop(store, id);
  return built;
}

std::optional<Refusal> reject(const PendingStore& store, std::string_view id, const std::string& actor) {
  auto found = hold(store, id);
  if (const auto* refusal = std::get_if<Refusal>(&found)) return *refusal;
  const Held& held = std::get<Held>(found);
  if (const auto refusal = claim(store, id, held)) return refusal;
  AuditLog::shared().log(actor, held.action.tool, std::nullopt, held.action.args, "rejected",
                         "rejected:" + std::string(id));
  drop(store, id);
  return std::nullopt;
}

}  // namespace Approval
