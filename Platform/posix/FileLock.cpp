#include "Platform/FileLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <thread>
#include <utility>

#include "Platform/Files.h"

namespace {

using namespace std::chrono_literals;

int openForLock(const std::filesystem::path& path) noexcept {
  return ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
}

/// `isHeld` takes a shared lock for a moment, so a refusal counts only when it lasts.
bool lockExclusively(int descriptor) noexcept {
  for (int attempt = 0; attempt < 5; ++attempt) {
    if (::flock(descriptor, LOCK_EX | LOCK_NB) == 0) return true;
    if (errno != EWOULDBLOCK && errno != EINTR) return false;
    std::this_thread::sleep_for(2ms);
  }
  errno = EWOULDBLOCK;
  return false;
}

}  // namespace

FileLock::FileLock(const std::filesystem::path& path) : descriptor_(openForLock(path)) {
  if (descriptor_ < 0) {
    if (errno == ENOENT) return;
    throw FileFailure("open", path, errno);
  }
  if (lockExclusively(descriptor_)) {
    state_ = State::held;
    return;
  }
  const int reason = errno;
  ::close(std::exchange(descriptor_, -1));
  if (reason != EWOULDBLOCK) throw FileFailure("lock", path, reason);
  state_ = State::takenByAnother;
}

FileLock::~FileLock() {
  if (descriptor_ >= 0) ::close(descriptor_);
}

FileLock::FileLock(FileLock&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)), state_(std::exchange(other.state_, State::noFile)) {}

bool FileLock::isOn(const std::filesystem::path& path) const noexcept {
  struct stat locked = {};
  struct stat named = {};
  return state_ == State::held && ::fstat(descriptor_, &locked) == 0 && ::stat(path.c_str(), &named) == 0 &&
         locked.st_dev == named.st_dev && locked.st_ino == named.st_ino;
}

bool FileLock::isHeld(const std::filesystem::path& path) noexcept {
  const int descriptor = openForLock(path);
  if (descriptor < 0) return false;
  const bool held = ::flock(descriptor, LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
  ::close(descriptor);  // and with it the shared lock
  return held;
}
