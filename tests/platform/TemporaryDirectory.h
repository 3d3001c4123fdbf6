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

/// Sets a variable for as long as a test lasts.
class ScopedVariable {
 public:
  ScopedVariable(const char* name, const char* value) : name_(name), before_(Environment::value(name)) {
    setenv(name, value, 1);
  }
  ~ScopedVariable() { before_ ? setenv(name_, before_->c_str(), 1) : unsetenv(name_); }
  ScopedVariable(const ScopedVariable&) = delete;
  ScopedVariable& operator=(const ScopedVariable&) = delete;

 private:
  const char* name_;
  std::optional<std::string> before_;
};
