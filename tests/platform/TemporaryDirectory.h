// A directory that lives as long as its test.
#pragma once

#include <filesystem>
#include <string>

#include "Platform/Environment.h"
#include "Platform/Uuid.h"

class TemporaryDirectory {
 public:
  TemporaryDirectory() : path_(Environment::temporaryDirectory() / ("tavro-test-" + Uuid::random())) {
    std::filesystem::create_directory(path_);
  }
  ~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  std::filesystem::path operator/(const char* name) const { return path_ / name; }
  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};
