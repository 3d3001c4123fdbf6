#include "Platform/GrowingFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

namespace {

bool isSame(const struct stat& a, const struct stat& b) { return a.st_dev == b.st_dev && a.st_ino == b.st_ino; }

}  // namespace

GrowingFile::GrowingFile(std::filesystem::path path) : path_(std::move(path)) {
  struct stat opened {};
  if (open() && ::fstat(descriptor_, &opened) == 0) position_ = opened.st_size;
}

GrowingFile::~GrowingFile() {
  if (descriptor_ >= 0) ::close(descriptor_);
}

/// Opens the file that has the name now, at its beginning. Only a regular one: a pipe would make us wait.
bool GrowingFile::open() {
  struct stat found {};
  const int opened = ::open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (opened < 0) return false;
  if (::fstat(opened, &found) != 0 || !S_ISREG(found.st_mode)) {
    ::close(opened);
    return false;
  }
  if (descriptor_ >= 0) ::close(descriptor_);
  descriptor_ = opened;
  position_ = 0;
  return true;
}

std::string GrowingFile::readOn() {
  constexpr std::size_t most = 65536;
  std::string bytes(most, '\0');
  const ssize_t count = ::pread(descriptor_, bytes.data(), bytes.size(), position_);
  bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  position_ += static_cast<off_t>(bytes.size());
  return bytes;
}

std::string GrowingFile::more() {
  if (descriptor_ < 0 && !open()) return {};
  if (auto bytes = readOn(); !bytes.empty()) return bytes;
  struct stat opened {
  }, named{};
  if (::fstat(descriptor_, &opened) != 0) return {};
  if (opened.st_size < position_) {
    position_ = 0;
    return readOn();
  }
  if (::stat(path_.c_str(), &named) != 0 || isSame(opened, named)) return {};
  // What was written between our reading and the file's being put aside still comes first.
  if (auto bytes = readOn(); !bytes.empty()) return bytes;
  return open() ? readOn() : std::string();
}

bool GrowingFile::hasMore() const {
  struct stat opened {
  }, named{};
  if (::stat(path_.c_str(), &named) != 0) return false;
  if (descriptor_ < 0 || ::fstat(descriptor_, &opened) != 0) return true;
  return !isSame(opened, named) || opened.st_size != position_;
}
