#include "TavroCore/automations/RunLog.h"

#include <algorithm>
#include <array>
#include <fstream>

#include "Platform/Dates.h"
#include "Platform/Files.h"
#include "Platform/Text.h"

namespace fs = std::filesystem;

namespace {

/// Where the last `count` lines of the first `size` bytes begin: behind the line feed before them, found from the end.
std::streamoff beginOfLast(long long count, std::istream& log, std::streamoff size) {
  std::array<char, 65536> block;
  for (std::streamoff end = size; end > 0;) {
    const auto length = std::min<std::streamoff>(end, block.size());
    end -= length;
    if (!log.seekg(end).read(block.data(), length)) return size;
    for (auto at = length; at > 0; --at) {
      if (block[static_cast<std::size_t>(at - 1)] == '\n' && --count == 0) return end + at;
    }
  }
  return 0;
}

}  // namespace

namespace RunLog {

std::string tsLocal() { return Dates::localText(Dates::now(), Dates::Unit::second); }

void append(const fs::path& log, std::string_view text) noexcept {
  try {
    Files::append(log, std::string(text) + "\n");
  } catch (const std::exception&) {  // a run goes on without its log
  }
}

void rotateIfNeeded(const fs::path& log) noexcept {
  try {
    std::error_code failure;
    const auto size = fs::file_size(log, failure);
    if (!failure && size > static_cast<std::uintmax_t>(sizeLimit)) Files::move(log, log.native() + ".1");
  } catch (const std::exception&) {  // it grows on
  }
}

std::optional<std::string> lastLines(const fs::path& log, long long count) {
  std::error_code failure;
  if (!fs::is_regular_file(log, failure)) return std::nullopt;
  std::ifstream file(log, std::ios::binary | std::ios::ate);
  if (!file) return std::nullopt;
  if (count < 1) return "";
  const std::streamoff size = file.tellg();  // a run may write on
  const std::streamoff begin = beginOfLast(count, file, size);
  std::string text(static_cast<std::size_t>(size - begin), '\0');
  file.seekg(begin).read(text.data(), size - begin);
  text.resize(static_cast<std::size_t>(file.gcount()));
  return Text::repairUTF8(std::move(text));
}

}  // namespace RunLog
