#include "Platform/linux/stores/StoreLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>

#include "Platform/Files.h"

StoreLock::StoreLock(const std::filesystem::path& path) {
  Files::createDirectories(path.parent_path());
  file_ = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  if (file_ < 0) throw FileFailure("open", path, errno);
  while (::flock(file_, LOCK_EX) != 0) {
    const int reason = errno;
    if (reason == EINTR) continue;
    ::close(file_);
    throw FileFailure("lock", path, reason);
  }
}

StoreLock::~StoreLock() { ::close(file_); }
