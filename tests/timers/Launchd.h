// The launchd of a test's desktop, which has to end with its test.
#pragma once

#include <gtest/gtest.h>
#include <signal.h>

#include <cstdlib>
#include <filesystem>

#include "Platform/Bundle.h"
#include "Platform/FileLock.h"
#include "Platform/Files.h"
#include "tests/platform/Eventually.h"

namespace Launchd {

inline std::filesystem::path lock(const std::filesystem::path& desktop) { return desktop / "launchd/launchd.lock"; }

/// 0 where there is none, or its lock doesn't tell yet.
inline pid_t process(const std::filesystem::path& desktop) {
  const int process = std::atoi(Files::readIfPossible(lock(desktop)).value_or("").c_str());
  std::error_code none;
  const auto program = std::filesystem::read_symlink("/proc/" + std::to_string(process) + "/exe", none);
  return process > 1 && program == Bundle::url() / "Contents/Desktop/launchd" ? process : 0;
}

inline void end(const std::filesystem::path& desktop, int signal) {
  pid_t found = 0;
  EXPECT_TRUE(eventually([&] { return (found = process(desktop)) > 0 || !FileLock::isHeld(lock(desktop)); }));
  if (found > 0) ::kill(found, signal);
  EXPECT_TRUE(eventually([&] { return !FileLock::isHeld(lock(desktop)); }));
}

}  // namespace Launchd
