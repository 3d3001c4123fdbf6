// The running executable is found by the kernel's own link to it.
#include "Platform/Bundle.h"

#include <system_error>

namespace Bundle {

namespace {

std::filesystem::path directoryOfTheProgram() {
  // The link's text is a resolved path. After an upgrade " (deleted)" stands behind the program's name,
  // which is cut off with it.
  std::error_code failure;
  const auto folder = std::filesystem::read_symlink("/proc/self/exe", failure).parent_path();
  if (folder.parent_path().filename() == "Contents") return folder.parent_path().parent_path();
  return folder;
}

}  // namespace

const std::filesystem::path& url() {
  static const std::filesystem::path directory = directoryOfTheProgram();
  return directory;
}

std::filesystem::path resource(const char* name) { return url() / "Contents/Resources" / name; }

}  // namespace Bundle
