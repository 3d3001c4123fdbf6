#include "Platform/linux/stores/CalendarCollections.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "Platform/Files.h"
#include "Platform/Text.h"
#include "Platform/Uuid.h"
#include "Platform/linux/stores/FileNames.h"
#include "Platform/linux/stores/StoreLock.h"

namespace fs = std::filesystem;

namespace {

bool isHexDigit(char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }

/// One line without blanks around it, as readers take it.
std::string line(std::string_view title) {
  auto text = Text::repairUTF8(std::string(title));
  for (char& c : text)
    if ((c >= 0 && c < ' ') || c == '\x7F') c = ' ';
  return std::string(Text::trim(text));
}

void requireWritable(const fs::path& directory, const fs::path& toRemove) {
  if (::faccessat(AT_FDCWD, directory.c_str(), W_OK | X_OK, AT_EACCESS) != 0)
    throw FileFailure("remove", toRemove, errno);
}

/// False when the name is taken.
bool makeDirectory(const fs::path& path) {
  if (::mkdir(path.c_str(), 0700) == 0) return true;
  if (errno != EEXIST) throw FileFailure("create", path, errno);
  return false;
}

/// What is in the directory goes only where it may be written to.
void requireEmptiable(const fs::path& directory) {
  std::error_code failure;
  if (!fs::is_empty(directory, failure) || failure) requireWritable(directory, directory);
}

}  // namespace

fs::path CalendarCollections::lockFile() const {
  return root_.parent_path() / ("." + root_.filename().string() + ".lock");
}

std::vector<CalendarCollections::Collection> CalendarCollections::all() const {
  std::vector<Collection> found;
  for (const auto& name : Files::listIfPossible(root_)) {
    if (name.front() == '.' || !Files::isDirectory(root_ / name)) continue;
    const auto written = Files::readIfPossible(root_ / name / "displayname").value_or("");
    const auto title = Text::trim(written);
    found.push_back({.id = name, .title = Text::repairUTF8(std::string(title.empty() ? name : title))});
  }
  return found;
}

std::optional<std::string> CalendarCollections::color(const std::string& id) const {
  const auto written = Files::readIfPossible(root_ / id / "color").value_or("");
  const auto color = Text::trim(written);
  const bool isColor =
      color.size() == 7 && color.front() == '#' && std::all_of(color.begin() + 1, color.end(), isHexDigit);
  return isColor ? std::optional(std::string(color)) : std::nullopt;
}

bool CalendarCollections::isWritable(const std::string& id) const { return ::access((root_ / id).c_str(), W_OK) == 0; }

CalendarCollections::Collection CalendarCollections::add(const std::string& title) const {
  const StoreLock lock(lockFile());
  Files::createDirectories(root_);
  const auto id = FileNames::firstFree(title, "", [&](const std::string& name) { return makeDirectory(root_ / name); });
  const auto shown = line(title);
  if (shown.empty() || shown == id) return {.id = id, .title = id};
  try {
    Files::replace(root_ / id / "displayname", shown);
  } catch (...) {
    ::rmdir((root_ / id).c_str());  // under a name that nobody gave it, it would only be in the way
    throw;
  }
  return {.id = id, .title = shown};
}

std::string CalendarCollections::rename(const std::string& id, const std::string& title) const {
  const StoreLock lock(lockFile());
  if (!Files::isDirectory(root_ / id)) throw FileFailure("rename", root_ / id, ENOENT);
  const auto shown = line(title);
  Files::replace(root_ / id / "displayname", shown);
  return shown;
}

void CalendarCollections::requireRemovable(const std::vector<std::string>& ids) const {
  for (const auto& id : ids) {
    requireWritable(root_, root_ / id);
    std::error_code failure;
    if (fs::is_symlink(root_ / id, failure)) continue;
    requireEmptiable(root_ / id);
    for (fs::recursive_directory_iterator entry(root_ / id, failure), end; !failure && entry != end;
         entry.increment(failure))
      if (!entry->is_symlink(failure) && entry->is_directory(failure)) requireEmptiable(entry->path());
  }
}

/// They lose their names first, and then what is in them.
void CalendarCollections::remove(const std::vector<std::string>& ids) const {
  requireRemovable(ids);
  std::vector<std::pair<fs::path, fs::path>> hidden;
  const auto showAgain = [&] {
    std::error_code ignored;
    for (const auto& [old, present] : hidden) fs::rename(present, old, ignored);
  };
  for (const auto& id : ids) {
    const auto path = root_ / id, aside = root_ / ("." + Uuid::random() + ".tmp");
    std::error_code failure;
    fs::rename(path, aside, failure);
    if (!failure) {
      hidden.emplace_back(path, aside);
      continue;
    }
    showAgain();
    throw FileFailure("remove", path, failure.value());
  }
  try {
    for (const auto& [path, aside] : hidden) Files::remove(aside);
  } catch (const FileFailure&) {
    showAgain();
    throw;
  }
}
