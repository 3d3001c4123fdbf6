// The running executable is found by the kernel's own link to it.
#include "Platform/Bundle.h"

#include <system_error>

namespace Bundle {

namespace {

std::filesystem::path directoryOfTheProgram() {
  const auto folder = executable().parent_path();
  if (folder.parent_path().filename() == "Contents") return folder.parent_path().parent_path();
  return folder;
}

}  // namespace

const std::filesystem::path& executable() {
  // The link's text is a resolved path. After an upgrade " (deleted)" stands behind the program's name.
  static const std::filesystem::path program = [] {
    std::error_code failure;
    return std::filesystem::read_symlink("/proc/self/exe", failure);
  }();
  return program;
}

const std::filesystem::path& url() {
  static const std::filesystem::path directory = directoryOfTheProgram();
  return directory;
}

std::filesystem::path resource(const char* name) { return url() / "Contents/Resources" / name; }

}  // namespace Bundle
