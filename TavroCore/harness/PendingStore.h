// The approval queue: a directory of small JSON files, one an action, so that any of the owner's
// programs can read and drop an action with nothing but file access. The server only adds to it.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/JsonNames.h"
#include "TavroCore/harness/Tool.h"

struct PendingAction {
  std::string id;    // 8 characters
  std::string tool;  // dotted id
  Arguments args;
  std::string summary;                                // "<tool id> <key>=<value> ..."
  std::string createdAt;                              // Timestamps
  std::optional<std::string> preview = std::nullopt;  // what it would touch

  bool operator==(const PendingAction&) const = default;
};

/// Keys are the field names; `preview` is left out when absent.
OrderedJson toJson(const PendingAction& action);
/// Nothing for a text that isn't a whole PendingAction.
std::optional<PendingAction> pendingActionFromJson(std::string_view text);

struct PendingStore {
  std::filesystem::path dir;

  PendingStore();  // in ConfigDir::url()
  /// <configDir>/pending, made with its parents; a failure to make it shows at the first write.
  explicit PendingStore(const std::filesystem::path& configDir);

  /// Writes <dir>/<id>.json, replacing a file of that id. Throws FileFailure, also for an id that is no
  /// plain file name.
  void add(const PendingAction& action) const;
  /// As `add`, but false, and nothing written, when the id is taken: by an action that waits, or by one
  /// that an approval has claimed (Approval.h).
  bool addNew(const PendingAction& action) const;
  /// All readable actions, oldest first.
  std::vector<PendingAction> list() const;
  /// An id that is no plain file name is not there.
  std::optional<PendingAction> get(std::string_view id) const;
  void remove(std::string_view id) const;

  /// Where the action of that id lies while it waits and while it is claimed. The id must be a plain
  /// file name.
  std::filesystem::path file(std::string_view id) const;
  std::filesystem::path claimedFile(std::string_view id) const;

  /// Can the id be part of a file's name, in this directory and no other? No "/", no NUL, no leading dot.
  static bool isPlainFileName(std::string_view id);
};
