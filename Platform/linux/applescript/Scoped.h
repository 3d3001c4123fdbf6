// Gives a place another value for as long as a block lasts, by whatever road it is left.
#pragma once

#include <utility>

namespace AppleScript {

template <class T>
class Scoped {
 public:
  Scoped(T& place, T value) : place_(place), outer_(std::exchange(place, std::move(value))) {}
  ~Scoped() { place_ = std::move(outer_); }
  Scoped(const Scoped&) = delete;
  Scoped& operator=(const Scoped&) = delete;

 private:
  T& place_;
  T outer_;
};

}  // namespace AppleScript
