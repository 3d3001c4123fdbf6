// The directories below calendars/ or reminders/: a directory of items each, with a name for people in its file
// `displayname`. A directory keeps its own name for ever, since synchronizers know it by that.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

class CalendarCollections {
 public:
  struct Collection {
    std::string id;     // the directory's name
    std::string title;  // of the file `displayname`, else the directory's name
  };

  explicit CalendarCollections(std::filesystem::path root) : root_(std::move(root)) {}
  const std::filesystem::path& root() const { return root_; }

  /// Sorted by their ids; nothing where they can't be read.
  std::vector<Collection> all() const;
  /// "#RRGGBB" of the file `color`; nothing where there is none, or something else in it.
  std::optional<std::string> color(const std::string& id) const;
  bool isWritable(const std::string& id) const;

  // Changes hold off other scripts by the lock, and throw FileFailure.

  /// A new directory, named after the title as far as a directory can be; "Untitled" for a title of blanks.
  Collection add(const std::string& title) const;
  /// Gives the title as it stands then: one line.
  std::string rename(const std::string& id, const std::string& title) const;
  // Of a symbolic link only the link goes. The caller holds the lock.

  /// Refuses what couldn't be removed now, for want of permission.
  void requireRemovable(const std::vector<std::string>& ids) const;
  /// With everything in them, all or, as far as that can be known beforehand, none. What resists keeps its name.
  void remove(const std::vector<std::string>& ids) const;

  /// What whoever changes anything below the root locks. It lies beside: what is below may be synchronized.
  std::filesystem::path lockFile() const;

 private:
  std::filesystem::path root_;
};
