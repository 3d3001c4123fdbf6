// An exclusive lock on an existing file, for as long as the object lives. It belongs to this process
// alone: a child doesn't inherit it, and it dies with its holder, however that ends. The lock is on the
// file and not on its name, so the file may be renamed under it.
#pragma once

#include <filesystem>

class FileLock {
 public:
  enum class State { held, takenByAnother, noFile };

  /// Doesn't wait for another holder. Throws FileFailure when the file can't be opened or locked.
  explicit FileLock(const std::filesystem::path& path);
  ~FileLock();
  FileLock(FileLock&& other) noexcept;
  FileLock& operator=(FileLock&&) = delete;

  State state() const noexcept { return state_; }
  /// Does this name still lead to the locked file?
  bool isOn(const std::filesystem::path& path) const noexcept;

  /// Does anybody hold the lock of this file? False when there is no such file.
  static bool isHeld(const std::filesystem::path& path) noexcept;

 private:
  int descriptor_ = -1;
  State state_ = State::noFile;
};
