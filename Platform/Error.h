// The root of every failure in this system. `description()` is the whole message for its reader:
// what was being done, to what, what went wrong, and what to do next where we know it. Facades
// catch an Error; the layers below let it pass or add a fact the reader needs.
#pragma once

#include <exception>
#include <string>
#include <utility>

class Error : public std::exception {
 public:
  explicit Error(std::string description) : description_(std::move(description)) {}

  const std::string& description() const noexcept { return description_; }
  const char* what() const noexcept override { return description_.c_str(); }

 private:
  std::string description_;
};
