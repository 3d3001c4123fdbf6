// The three places of an outside program, the owner's choice first. Ours come before the system's: Debian has an
// /usr/bin/open of its own, which opens files and starts no application.
#include "Platform/Program.h"

#include <sys/stat.h>
#include <unistd.h>

#include "Platform/Bundle.h"
#include "Platform/Environment.h"

namespace Platform {

namespace {

bool isExecutableFile(const std::filesystem::path& path) {
  struct stat entry {};
  return stat(path.c_str(), &entry) == 0 && S_ISREG(entry.st_mode) && access(path.c_str(), X_OK) == 0;
}

std::filesystem::path pathOnMacOS(std::string_view name) {
  return std::filesystem::path(name == "launchctl" ? "/bin" : "/usr/bin") / name;
}

}  // namespace

std::filesystem::path program(std::string_view name) {
  if (const auto directory = Environment::value("TAVRO_PLATFORM_BIN")) {
    const auto chosen = std::filesystem::path(*directory) / name;
    if (isExecutableFile(chosen)) return chosen;
  }
  const auto own = Bundle::url() / "Contents/Desktop" / name;
  return isExecutableFile(own) ? own : pathOnMacOS(name);
}

}  // namespace Platform
