#include "TavroMCP/LineReader.h"

#include <unistd.h>

#include <algorithm>

#include "TavroMCP/Waiting.h"

namespace {
constexpr std::size_t bufferSize = 64 * 1024;
}

LineReader::LineReader(int descriptor) : descriptor_(descriptor), buffer_(bufferSize) {}

bool LineReader::fill() {
  const ssize_t count = waiting(descriptor_, POLLIN, [&] { return read(descriptor_, buffer_.data(), buffer_.size()); });
  begin_ = 0;
  end_ = count > 0 ? static_cast<std::size_t>(count) : 0;
  return end_ > 0;
}

bool LineReader::next(std::string& line) {
  line.clear();
  if (line.capacity() > bufferSize) line.shrink_to_fit();
  bool any = false;
  while (begin_ < end_ || fill()) {
    any = true;
    const auto from = buffer_.begin() + static_cast<std::ptrdiff_t>(begin_);
    const auto to = buffer_.begin() + static_cast<std::ptrdiff_t>(end_);
    const auto feed = std::find(from, to, '\n');
    line.append(from, feed);
    begin_ += static_cast<std::size_t>(feed - from);
    if (feed != to) {
      ++begin_;
      return true;
    }
  }
  return any;
}
