// Any bytes on standard input: every line of output is one JSON-RPC object, at most one a line of input.
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <string>

#include "Platform/Json.h"
#include "Platform/Text.h"
#include "TavroMCP/LineReader.h"
#include "TavroMCP/Server.h"
#include "fuzz/Check.h"

namespace {

int memoryFile() { return memfd_create("fuzz", MFD_CLOEXEC); }

std::string content(int file) {
  std::string bytes(static_cast<std::size_t>(lseek(file, 0, SEEK_END)), '\0');
  CHECK(pread(file, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()));
  return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
  static const std::vector<Tool> noTools;
  static const int quiet = open("/dev/null", O_WRONLY | O_CLOEXEC);
  const int in = memoryFile();
  const int out = memoryFile();
  CHECK(write(in, data, size) == static_cast<ssize_t>(size));
  lseek(in, 0, SEEK_SET);

  Server server(noTools, "/nowhere", out, quiet);
  LineReader lines(in);
  long count = 0;
  for (std::string line; lines.next(line); ++count) server.handleLine(std::move(line));

  const std::string output = content(out);
  CHECK(output.empty() || output.back() == '\n');
  CHECK(std::count(output.begin(), output.end(), '\n') <= count);
  for (const auto& line : Text::split(output, '\n', true)) CHECK(Json::accept(line));
  close(in);
  close(out);
  return 0;
}
