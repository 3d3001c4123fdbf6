// The local file system. Whatever must appear whole is made under a hidden neighbour's name first,
// flushed, and renamed; the neighbour goes with the object that made it, on every road out.
#include "Platform/Files.h"

#include <dirent.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <climits>
#include <cstdio>
#include <memory>
#include <system_error>

#include "Platform/Uuid.h"
#include "Platform/posix/Descriptor.h"

namespace fs = std::filesystem;

FileFailure::FileFailure(std::string_view operation, const fs::path& path, int errorNumber)
    : Error(fmt::format("could not {} {}: {}", operation, path.native(), std::generic_category().message(errorNumber))),
      errorNumber_(errorNumber) {}

namespace Files {

namespace {

constexpr mode_t permissionBits = 07777;

/// The names that a message uses: which path, and what is done to it.
struct Task {
  std::string_view operation;
  const fs::path& path;

  [[noreturn]] void fail(int errorNumber) const { throw FileFailure(operation, path, errorNumber); }
  void check(bool succeeded) const {
    if (!succeeded) fail(errno);
  }
};

/// The system would read a path up to its first NUL byte only, and so reach another file.
bool holdsNul(const fs::path& path) { return path.native().find('\0') != std::string::npos; }

void refuseNul(const Task& task, const fs::path& path) {
  if (holdsNul(path)) task.fail(EINVAL);
}

Descriptor openFile(const fs::path& path, int flags, mode_t mode = 0) {
  if (holdsNul(path)) {
    errno = EINVAL;
    return Descriptor();
  }
  return Descriptor(uninterrupted([&] { return open(path.c_str(), flags | O_CLOEXEC, mode); }));
}

bool isAbsence(int errorNumber) { return errorNumber == ENOENT || errorNumber == ENOTDIR; }

std::optional<struct stat> entryAt(const fs::path& path) {
  struct stat entry {};
  if (lstat(path.c_str(), &entry) != 0) return std::nullopt;
  return entry;
}

/// Of what the path leads to, links followed; 0 where there is nothing.
mode_t modeAt(const fs::path& path) noexcept {
  struct stat entry {};
  return !holdsNul(path) && stat(path.c_str(), &entry) == 0 ? entry.st_mode : 0;
}

void writeAll(const Task& task, const Descriptor& file, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = uninterrupted([&] { return write(file.number(), bytes.data(), bytes.size()); });
    task.check(count >= 0);
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
}

void flush(const Task& task, const Descriptor& file) {
  task.check(uninterrupted([&] { return fsync(file.number()); }) == 0);
}

fs::path folderOf(const fs::path& path) { return path.has_parent_path() ? path.parent_path() : fs::path("."); }

/// Makes a new or changed name in the folder survive a power cut. A folder that we may write to but
/// not read, and a file system that doesn't flush folders, are taken as they are.
void flushFolder(const Task& task, const fs::path& path) {
  const Descriptor folder = openFile(folderOf(path), O_RDONLY | O_DIRECTORY);
  if (!folder.isOpen()) return;
  if (uninterrupted([&] { return fsync(folder.number()); }) != 0 && errno != EINVAL) task.fail(errno);
}

/// The path with the symbolic links that it ends in followed; the last one need not exist.
fs::path behindLinks(const Task& task, fs::path path) {
  for (int left = 40; left > 0; --left) {
    std::error_code failure;
    const fs::path next = fs::read_symlink(path, failure);
    if (failure) return path;
    path = folderOf(path) / next;
  }
  task.fail(ELOOP);
}

/// Renames, but never over an existing entry: errno is EEXIST then.
bool renameToFreeName(const fs::path& from, const fs::path& to) {
  if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return true;
  if (errno != EINVAL && errno != ENOSYS) return false;
  // This file system doesn't know the flag; a hard link doesn't replace either, but does for files only.
  return link(from.c_str(), to.c_str()) == 0 && unlink(from.c_str()) == 0;
}

/// Removes what we made ourselves. A copied directory without "w" holds on to its entries until it gets it.
void removeOwn(const fs::path& path) noexcept {
  std::error_code ignored;
  if (fs::remove_all(path, ignored) != static_cast<std::uintmax_t>(-1)) return;
  fs::recursive_directory_iterator entry(path, ignored);
  for (; entry != fs::recursive_directory_iterator(); entry.increment(ignored)) {
    if (fs::is_directory(entry->symlink_status(ignored))) chmod(entry->path().c_str(), 0700);
  }
  fs::remove_all(path, ignored);
}

/// A hidden name beside the target, whose entry goes unless it was renamed.
class Neighbour {
 public:
  explicit Neighbour(const fs::path& target) {
    const std::string name = target.filename().native().substr(0, NAME_MAX - 48);
    path_ = folderOf(target) / fmt::format(".{}.{}.tmp", name, Uuid::random());
  }
  ~Neighbour() {
    if (!path_.empty()) removeOwn(path_);
  }
  Neighbour(const Neighbour&) = delete;
  Neighbour& operator=(const Neighbour&) = delete;

  const fs::path& path() const { return path_; }
  bool replace(const fs::path& target) { return renamed(::rename(path_.c_str(), target.c_str()) == 0); }
  bool takeFreeName(const fs::path& target) { return renamed(renameToFreeName(path_, target)); }

 private:
  bool renamed(bool succeeded) {
    if (succeeded) path_.clear();
    return succeeded;
  }

  fs::path path_;
};

Descriptor createNeighbour(const Task& task, const Neighbour& neighbour, mode_t mode) {
  Descriptor file = openFile(neighbour.path(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, mode);
  task.check(file.isOpen());
  return file;
}

void finish(const Task& task, Descriptor& file) {
  flush(task, file);
  task.check(file.close());
}

/// Owner and permissions of the file that is replaced. A failed change of owner is borne: an ordinary
/// user can't make one, and needn't where the file is theirs.
void keepAttributes(const Task& task, const Descriptor& file, const struct stat& replaced) {
  struct stat own {};
  task.check(fstat(file.number(), &own) == 0);
  if (own.st_uid != replaced.st_uid || own.st_gid != replaced.st_gid) {
    static_cast<void>(!fchown(file.number(), replaced.st_uid, replaced.st_gid));
  }
  task.check(fchmod(file.number(), replaced.st_mode & permissionBits) == 0);
}

/// Makes room for `size` bytes, or leaves the file as it was and the reason in errno. Not by
/// posix_fallocate, which writes into the file where the file system offers nothing better.
bool reserve(const Descriptor& file, std::size_t size) {
  struct stat before {};
  if (size == 0 || fstat(file.number(), &before) != 0) return size == 0;
  const auto length = static_cast<off_t>(size);
  if (uninterrupted([&] { return fallocate(file.number(), 0, 0, length); }) == 0) return true;
  const int failure = errno;
  if (failure == EOPNOTSUPP || failure == ENOSYS || failure == ENODEV || failure == ESPIPE) return true;
  static_cast<void>(!ftruncate(file.number(), before.st_size));  // what was added until the disk was full
  errno = failure;
  return false;
}

void writeOver(const Task& task, const Descriptor& file, std::string_view bytes) {
  off_t at = 0;
  while (static_cast<std::size_t>(at) < bytes.size()) {
    const auto rest = bytes.substr(static_cast<std::size_t>(at));
    const ssize_t count = uninterrupted([&] { return pwrite(file.number(), rest.data(), rest.size(), at); });
    task.check(count >= 0);
    at += count;
  }
  task.check(uninterrupted([&] { return ftruncate(file.number(), at); }) == 0);
}

void copyBytes(const Task& task, const fs::path& from, const fs::path& to, mode_t mode) {
  const Descriptor source = openFile(from, O_RDONLY | O_NOFOLLOW);
  task.check(source.isOpen());
  Descriptor copy = openFile(to, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0600);
  task.check(copy.isOpen());
  std::string buffer(256 * 1024, '\0');
  for (;;) {
    const ssize_t count = uninterrupted([&] { return ::read(source.number(), buffer.data(), buffer.size()); });
    task.check(count >= 0);
    if (count == 0) break;
    writeAll(task, copy, std::string_view(buffer.data(), static_cast<std::size_t>(count)));
  }
  task.check(fchmod(copy.number(), mode) == 0);
  finish(task, copy);
}

void copyLink(const Task& task, const fs::path& from, const fs::path& to) {
  std::error_code failure;
  fs::copy_symlink(from, to, failure);
  if (failure) task.fail(failure.value());
}

void copyEntry(const fs::path& from, const fs::path& to);

void copyDirectory(const Task& task, const fs::path& from, const fs::path& to, mode_t mode) {
  task.check(mkdir(to.c_str(), 0700) == 0);
  for (const std::string& name : list(from)) copyEntry(from / name, to / name);
  task.check(chmod(to.c_str(), mode) == 0);  // last: a directory without "w" takes no entries
  const Descriptor folder = openFile(to, O_RDONLY | O_DIRECTORY);
  if (folder.isOpen()) flush(task, folder);
}

void copyEntry(const fs::path& from, const fs::path& to) {
  const Task task{"copy", from};
  const auto entry = entryAt(from);
  task.check(entry.has_value());
  const mode_t mode = entry->st_mode & permissionBits;
  if (S_ISDIR(entry->st_mode)) return copyDirectory(task, from, to, mode);
  if (S_ISLNK(entry->st_mode)) return copyLink(task, from, to);
  if (S_ISREG(entry->st_mode)) return copyBytes(task, from, to, mode);
  task.fail(EOPNOTSUPP);  // a socket, a pipe or a device: its bytes are not the thing
}

/// A copy into itself would never come to an end.
void refuseCopyIntoItself(const Task& task, const fs::path& from, const fs::path& to) {
  std::error_code ignored;
  const fs::path outer = fs::canonical(from, ignored);
  const fs::path inner = fs::weakly_canonical(folderOf(to), ignored);
  const auto [end, unused] = std::mismatch(outer.begin(), outer.end(), inner.begin(), inner.end());
  if (end == outer.end() && fs::is_directory(fs::symlink_status(from, ignored))) task.fail(EINVAL);
}

void createDirectory(const fs::path& path, mode_t mode) {
  const Task task{"create the directory", path};
  if (mkdir(path.c_str(), mode) == 0) return;
  const int failure = errno;
  if (isDirectory(path)) return;
  const fs::path parent = path.parent_path();
  if (failure != ENOENT || parent.empty() || parent == path) task.fail(failure);
  createDirectory(parent, mode);
  if (mkdir(path.c_str(), mode) != 0 && !isDirectory(path)) task.fail(errno);
}

/// What is no plain file only where `anything` may be read: a pipe can keep us waiting, and a device never end.
std::optional<std::string> readOpened(const Task& task, const Descriptor& file, bool anything) {
  if (!file.isOpen() && isAbsence(errno)) return std::nullopt;
  task.check(file.isOpen());
  struct stat entry {};
  task.check(fstat(file.number(), &entry) == 0);
  if (!anything && !S_ISREG(entry.st_mode)) task.fail(S_ISDIR(entry.st_mode) ? EISDIR : EINVAL);
  // One byte more than the size shows the end without another round; a file of /proc has the size 0.
  std::string bytes(std::max<std::size_t>(static_cast<std::size_t>(std::max<off_t>(entry.st_size, 0)) + 1, 4096), '\0');
  std::size_t filled = 0;
  for (;;) {
    if (filled == bytes.size()) bytes.resize(bytes.size() * 2);
    const ssize_t count =
        uninterrupted([&] { return ::read(file.number(), bytes.data() + filled, bytes.size() - filled); });
    task.check(count >= 0);
    if (count == 0) break;
    filled += static_cast<std::size_t>(count);
  }
  bytes.resize(filled);
  return bytes;
}

}  // namespace

std::optional<std::string> read(const fs::path& path) {
  return readOpened({"read", path}, openFile(path, O_RDONLY | O_NONBLOCK), false);
}

std::optional<std::string> readAnything(const fs::path& path) {
  return readOpened({"read", path}, openFile(path, O_RDONLY), true);
}

std::optional<std::string> readIfPossible(const fs::path& path) noexcept {
  try {
    return read(path);
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

void replace(const fs::path& path, std::string_view bytes, mode_t mode) {
  const Task task{"write", path};
  refuseNul(task, path);
  const fs::path target = behindLinks(task, path);
  const auto replaced = entryAt(target);
  if (replaced && !S_ISREG(replaced->st_mode)) task.fail(S_ISDIR(replaced->st_mode) ? EISDIR : EINVAL);
  Neighbour neighbour(target);
  Descriptor file = createNeighbour(task, neighbour, replaced ? 0600 : mode);
  if (replaced) keepAttributes(task, file, *replaced);
  writeAll(task, file, bytes);
  finish(task, file);
  task.check(neighbour.replace(target));
  flushFolder(task, target);
}

void overwrite(const fs::path& path, std::string_view bytes, mode_t mode) {
  const Task task{"write", path};
  Descriptor file = openFile(path, O_WRONLY | O_NONBLOCK);  // a pipe would keep us waiting for its reader
  const bool isNew = !file.isOpen() && errno == ENOENT;
  if (isNew) file = openFile(path, O_WRONLY | O_CREAT, mode);
  task.check(file.isOpen());
  if (!reserve(file, bytes.size())) {
    const int failure = errno;
    if (isNew) unlink(path.c_str());
    task.fail(failure);
  }
  writeOver(task, file, bytes);
  finish(task, file);
  if (isNew) flushFolder(task, path);
}

bool createNew(const fs::path& path, std::string_view bytes, mode_t mode, Durability durability) {
  const Task task{"create", path};
  refuseNul(task, path);
  if (entryAt(path)) return false;
  Neighbour neighbour(path);
  Descriptor file = createNeighbour(task, neighbour, mode);
  writeAll(task, file, bytes);
  if (durability == Durability::flushed) flush(task, file);
  task.check(file.close());
  if (!neighbour.takeFreeName(path)) {
    if (errno == EEXIST) return false;
    task.fail(errno);
  }
  if (durability == Durability::flushed) flushFolder(task, path);
  return true;
}

void append(const fs::path& path, std::string_view bytes, mode_t mode) {
  const Task task{"append to", path};
  Descriptor file = openFile(path, O_WRONLY | O_APPEND | O_CREAT | O_NONBLOCK, mode);
  task.check(file.isOpen());
  struct stat entry {};
  task.check(fstat(file.number(), &entry) == 0);
  if (S_ISFIFO(entry.st_mode)) task.fail(EINVAL);  // its reader could keep us waiting
  writeAll(task, file, bytes);
  task.check(file.close());
}

void createDirectories(const fs::path& path, mode_t mode) {
  refuseNul(Task{"create the directory", path}, path);
  createDirectory(path, mode);
}

void setMode(const fs::path& path, mode_t mode) {
  const Task task{"set the permissions of", path};
  refuseNul(task, path);
  task.check(chmod(path.c_str(), mode) == 0);
}

std::vector<std::string> list(const fs::path& directory) {
  const Task task{"list", directory};
  refuseNul(task, directory);
  const std::unique_ptr<DIR, int (*)(DIR*)> stream(opendir(directory.c_str()), closedir);
  task.check(stream != nullptr);
  std::vector<std::string> names;
  errno = 0;
  while (const dirent* entry = readdir(stream.get())) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") names.emplace_back(name);
    errno = 0;
  }
  task.check(errno == 0);
  std::sort(names.begin(), names.end());
  return names;
}

std::vector<std::string> listIfPossible(const fs::path& directory) noexcept {
  try {
    return list(directory);
  } catch (const std::exception&) {
    return {};
  }
}

bool exists(const fs::path& path) noexcept { return modeAt(path) != 0; }
bool isDirectory(const fs::path& path) noexcept { return S_ISDIR(modeAt(path)); }
bool isExecutable(const fs::path& path) noexcept { return S_ISREG(modeAt(path)) && access(path.c_str(), X_OK) == 0; }

void copy(const fs::path& from, const fs::path& to) {
  const Task task{"copy", from};
  const Task arrival{"write the copy", to};
  refuseNul(task, from);
  refuseNul(arrival, to);
  if (entryAt(to)) arrival.fail(EEXIST);
  refuseCopyIntoItself(task, from, to);
  Neighbour neighbour(to);
  copyEntry(from, neighbour.path());
  arrival.check(neighbour.takeFreeName(to));
  flushFolder(arrival, to);
}

bool move(const fs::path& from, const fs::path& to) {
  const Task task{"rename", from};
  refuseNul(task, from);
  refuseNul(task, to);
  if (::rename(from.c_str(), to.c_str()) != 0) {
    const int failure = errno;
    if (isAbsence(failure) && !entryAt(from)) return false;
    task.fail(failure);
  }
  flushFolder(task, to);
  return true;
}

bool moveToNewName(const fs::path& from, const fs::path& to) {
  const Task task{"rename", from};
  refuseNul(task, from);
  refuseNul(task, to);
  if (!renameToFreeName(from, to)) {
    const int failure = errno;
    if (failure == EEXIST || (isAbsence(failure) && !entryAt(from))) return false;
    task.fail(failure);
  }
  flushFolder(task, to);
  return true;
}

bool remove(const fs::path& path) {
  const Task task{"remove", path};
  refuseNul(task, path);
  std::error_code failure;
  const auto count = fs::remove_all(path, failure);
  if (failure) task.fail(failure.value());
  return count > 0;
}

fs::path temporaryName(const fs::path& directory, std::string_view stem, std::string_view extension) {
  return directory / fmt::format("{}-{}.{}", stem, Uuid::random(), extension);
}

}  // namespace Files
