#include "TavroCore/harness/DataProtection.h"

#include <cstdlib>

#include "Platform/Files.h"
#include "Platform/SystemLog.h"

namespace DataProtection {

void harden(const std::filesystem::path& directory) noexcept try {
  Files::setMode(directory, 0700);
} catch (const std::exception& failure) {
  SystemLog::error("app.tavro.core", "DataProtection", "chmod 0700 failed for " + directory.string() + ": ",
                   failure.what());
}

// The variable's presence counts, be it empty.
bool isSandboxed() { return std::getenv("APP_SANDBOX_CONTAINER_ID") != nullptr; }

}  // namespace DataProtection
