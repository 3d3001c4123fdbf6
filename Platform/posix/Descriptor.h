// A file descriptor that is closed with its owner. Private to Platform.
#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

class Descriptor {
 public:
  Descriptor() noexcept = default;
  explicit Descriptor(int number) noexcept : number_(number) {}
  ~Descriptor() { close(); }
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    if (this != &other) {
      close();
      number_ = std::exchange(other.number_, -1);
    }
    return *this;
  }

  int number() const noexcept { return number_; }
  bool isOpen() const noexcept { return number_ >= 0; }

  /// Some file systems tell of a failed write only here. False leaves the reason in errno; the
  /// descriptor is gone either way, so an interrupted close must not be tried again.
  bool close() noexcept {
    const int number = std::exchange(number_, -1);
    return number < 0 || ::close(number) == 0 || errno == EINTR;
  }

 private:
  int number_ = -1;
};

/// Calls `operation` until no signal interrupts it.
template <typename Operation>
auto uninterrupted(Operation operation) {
  auto result = operation();
  while (result < 0 && errno == EINTR) result = operation();
  return result;
}
