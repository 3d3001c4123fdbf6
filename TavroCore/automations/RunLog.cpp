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
/// -1 when that is before `from`.
std::streamoff beginOfLast(long long count, std::istream& log, std::streamoff from, std::streamoff size) {
  std::array<char, 65536> block;
  for (std::streamoff end = size; end > from;) {
    const auto length = std::min<std::streamoff>(end - from, block.size());
    end -= length;
    if (!log.seekg(end).read(block.data(), length)) return size;
    for (auto at = length; at > 0; --at) {
      if (block[static_cast<std::size_t>(at - 1)] == '\n' && --count == 0) return end + at;
    }
  }
  return from == 0 ? 0 : -1;
}

/// How many bytes belong to a UTF-8 character that has lost its beginning.
std::size_t restOfCharacter(std::string_view text) {
  std::size_t rest = 0;
  while (rest < std::min<std::size_t>(3, text.size()) && (text[rest] & 0xC0) == 0x80) ++rest;
  return rest;
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

std::optional<std::string> lastLines(const fs::path& log, long long count, long long most) {
  std::error_code failure;
  if (!fs::is_regular_file(log, failure)) return std::nullopt;
  std::ifstream file(log, std::ios::binary | std::ios::ate);
  if (!file) return std::nullopt;
  if (count < 1) return "";
  const std::streamoff size = file.tellg();  // a run may write on
  const std::streamoff earliest = std::max<std::streamoff>(size - most, 0);
  const std::streamoff found = beginOfLast(count, file, earliest, size);
  const std::streamoff begin = std::max(found, earliest);
  std::string text(static_cast<std::size_t>(size - begin), '\0');
  file.seekg(begin).read(text.data(), size - begin);
  text.resize(static_cast<std::size_t>(file.gcount()));
  if (found < 0) text = "…" + text.substr(restOfCharacter(text));
  return Text::repairUTF8(std::move(text));
}

}  // namespace RunLog
