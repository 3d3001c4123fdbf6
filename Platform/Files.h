// Files and directories of the local file system. A failure is a FileFailure that names the
// operation, the path and the system's reason; an ordinary absence is an empty optional. A path with a
// NUL byte names no file (EINVAL), since the system would read it up to that byte only.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Error.h"

class FileFailure : public Error {
 public:
  /// `operation` is a verb and its preposition, "write" or "append to": the description reads
  /// "could not write /x/config.json: No space left on device". `errorNumber` is the errno it left.
  FileFailure(std::string_view operation, const std::filesystem::path& path, int errorNumber);
  int errorNumber() const noexcept { return errorNumber_; }

 private:
  int errorNumber_;
};

namespace Files {

/// The file's bytes; nothing when there is no such file. Throws FileFailure when it is there and
/// can't be read (a directory, a pipe or a device, no permission, an I/O error).
std::optional<std::string> read(const std::filesystem::path& path);
/// As `read`, for a file that a person names: pipes and devices too, to their end.
std::optional<std::string> readAnything(const std::filesystem::path& path);

/// As `read`, with every failure counted as absence.
std::optional<std::string> readIfPossible(const std::filesystem::path& path) noexcept;

/// Replaces the file as a whole: a reader finds the old bytes or the new ones, never a part. The
/// bytes go to a hidden neighbour, are flushed to the disk, and take the target's name last. An
/// existing target keeps its permissions and, as far as we may, its owner; a new one gets `mode` (cut
/// by the umask). A symbolic link is followed, so that the link stays; anything but a regular file is
/// refused. Throws FileFailure; the target is then as it was and no neighbour is left behind. Only a
/// folder that fails to flush is told of after the new bytes stand.
void replace(const std::filesystem::path& path, std::string_view bytes, mode_t mode = 0600);

/// Writes over the file in place, keeping its inode, owner and links. The space is reserved before
/// the first byte changes, so a full disk leaves the old bytes (on file systems that can reserve); a
/// crash in the middle may not. Flushed to the disk when it returns. A pipe is refused.
void overwrite(const std::filesystem::path& path, std::string_view bytes, mode_t mode = 0600);

/// Whether a file outlives a power cut, or is too short-lived to wait for the disk.
enum class Durability { flushed, unflushed };

/// Creates a file that must not be there yet; false when the name is taken. The file appears whole.
bool createNew(const std::filesystem::path& path, std::string_view bytes, mode_t mode = 0600,
               Durability durability = Durability::flushed);

/// Appends in one write with O_APPEND, so that lines of several processes don't mix. Not flushed; a
/// disk that gets full may leave the first part of `bytes`, with the failure told. A pipe is refused.
void append(const std::filesystem::path& path, std::string_view bytes, mode_t mode = 0600);

/// Creates the directory with its parents, each new one with `mode` (cut by the umask). One that
/// exists is left alone.
void createDirectories(const std::filesystem::path& path, mode_t mode = 0700);

/// Sets the POSIX permissions.
void setMode(const std::filesystem::path& path, mode_t mode);

/// The names of a directory's entries, without "." and "..", sorted bytewise so that every run sees
/// one order. Throws FileFailure when it can't be read.
std::vector<std::string> list(const std::filesystem::path& directory);

/// As `list`, with an unreadable directory counted as empty.
std::vector<std::string> listIfPossible(const std::filesystem::path& directory) noexcept;

bool exists(const std::filesystem::path& path) noexcept;
bool isDirectory(const std::filesystem::path& path) noexcept;
/// A regular file that we may execute.
bool isExecutable(const std::filesystem::path& path) noexcept;

/// Copies a file, or a directory whole, keeping permissions and symbolic links, and flushes it. The
/// copy takes its name last: an interrupted copy leaves no half one behind under that name. `to` must
/// not exist (EEXIST) nor lie in `from` (EINVAL); a socket, pipe or device is refused (EOPNOTSUPP).
void copy(const std::filesystem::path& from, const std::filesystem::path& to);

/// Renames within one file system, replacing a file of that name, and flushes the folder, so that the
/// new name survives a power cut. False when `from` is not there.
bool move(const std::filesystem::path& from, const std::filesystem::path& to);

/// As `move`, but never over an existing `to`: false when `from` is gone or `to` is taken.
bool moveToNewName(const std::filesystem::path& from, const std::filesystem::path& to);

/// Removes a file, or a directory with all in it; false when there was none.
bool remove(const std::filesystem::path& path);

/// A new name for a temporary file in `directory`, unique by a random UUID: <stem>-<UUID>.<extension>.
/// Nothing is created.
std::filesystem::path temporaryName(const std::filesystem::path& directory, std::string_view stem,
                                    std::string_view extension);

}  // namespace Files
