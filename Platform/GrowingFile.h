// A file that other processes add to, read as it grows: a log that a person watches.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>

class GrowingFile {
 public:
  /// Stands at the present end of the file. One that isn't there yet will be read from its beginning.
  explicit GrowingFile(std::filesystem::path path);
  ~GrowingFile();
  GrowingFile(const GrowingFile&) = delete;
  GrowingFile& operator=(const GrowingFile&) = delete;

  /// What was added since the last call, at most 64 KB of it; empty when nothing was, or it can't be read. A file that
  /// was put aside is read to its end, and then the new one of its name from the beginning, as is one that was cut.
  std::string more();
  /// Would `more` give something of the file that is open, or open one?
  bool hasMore() const;

 private:
  bool open();
  std::string readOn();

  std::filesystem::path path_;
  int descriptor_ = -1;
  off_t position_ = 0;
};
