// A directory of its own for a benchmark, with the home and the desktop in it.
#pragma once

#include <fmt/format.h>

#include <cstdlib>
#include <exception>
#include <filesystem>
#include <functional>
#include <string>

/// For main: measures in a new directory, removes it, and gives the exit status.
inline int measureInScratch(const std::function<void(const std::filesystem::path& scratch)>& measure) {
  std::string scratch = (std::filesystem::temp_directory_path() / "tavro-bench-XXXXXX").string();
  if (!mkdtemp(scratch.data())) return 1;
  setenv("TAVRO_HOME", (scratch + "/home").c_str(), 1);
  setenv("TAVRO_DESKTOP", (scratch + "/desktop").c_str(), 1);
  setenv("HOME", scratch.c_str(), 1);
  int status = 0;
  try {
    measure(scratch);
  } catch (const std::exception& failure) {
    fmt::print(stderr, "bench: {}\n", failure.what());
    status = 1;
  }
  std::filesystem::remove_all(scratch);
  return status;
}
