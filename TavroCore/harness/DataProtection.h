// Keeps the home private.
#pragma once

#include <filesystem>

namespace DataProtection {

/// Sets the directory's permissions to 0700; files in it are not touched. A failure goes to the system
/// log. Never throws.
void harden(const std::filesystem::path& directory) noexcept;

/// Does this process run in an application sandbox (APP_SANDBOX_CONTAINER_ID)?
bool isSandboxed();

}  // namespace DataProtection
