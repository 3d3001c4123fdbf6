// The three places of an outside program, the owner's choice first. Ours come before the system's: Debian has an
// /usr/bin/open of its own, which opens files and starts no application.
#include "Platform/Program.h"

#include "Platform/Bundle.h"
#include "Platform/Environment.h"
#include "Platform/Files.h"

namespace Platform {

namespace {

std::filesystem::path pathOnMacOS(std::string_view name) {
  return std::filesystem::path(name == "launchctl" ? "/bin" : "/usr/bin") / name;
}

}  // namespace

std::filesystem::path program(std::string_view name) {
  if (const auto directory = Environment::value("TAVRO_PLATFORM_BIN")) {
    const auto chosen = std::filesystem::path(*directory) / name;
    if (Files::isExecutable(chosen)) return chosen;
  }
  const auto own = Bundle::url() / "Contents/Desktop" / name;
  return Files::isExecutable(own) ? own : pathOnMacOS(name);
}

}  // namespace Platform
