// Holds other scripts off between reading a store's file and writing it. Waits for its turn; the system
// frees it with the process, however that ends.
#pragma once

#include <filesystem>

class StoreLock {
 public:
  /// Locks the empty file `path`, which it makes where there is none, and the folder too. Throws FileFailure.
  explicit StoreLock(const std::filesystem::path& path);
  ~StoreLock();
  StoreLock(const StoreLock&) = delete;
  StoreLock& operator=(const StoreLock&) = delete;

 private:
  int file_ = -1;
};
