// A store of files on disk that a benchmark makes, measures and removes.
#pragma once

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <filesystem>
#include <functional>
#include <string>

#include "bench/Command.h"

/// Out of the system's cache, as after a restart.
inline void forget(const std::filesystem::path& store) {
  sync();
  for (const auto& entry : std::filesystem::recursive_directory_iterator(store)) {
    if (!entry.is_regular_file()) continue;
    const int file = open(entry.path().c_str(), O_RDONLY | O_CLOEXEC);
    posix_fadvise(file, 0, 0, POSIX_FADV_DONTNEED);
    close(file);
  }
}

/// Prints a line; `goal` is in seconds.
inline void row(const std::string& what, const Cost& figure, double goal = 0) {
  fmt::print("{:<44}{:>8.2f} s{:>8.0f} MB", what, figure.milliseconds / 1000, figure.megabytes);
  if (goal > 0)
    fmt::print("{:>10.1f} s, 150 MB  {}", goal,
               figure.milliseconds / 1000 <= goal && figure.megabytes <= 150 ? "reached" : "MISSED");
  fmt::print("\n");
}

/// For main: measures on a desktop and a home in a directory of their own. argv: the directory of the programs.
inline int measureInScratch(
    int argc, char** argv,
    const std::function<void(const std::filesystem::path& programs, const std::filesystem::path& scratch)>& measure) {
  if (argc != 2) {
    fmt::print(stderr, "usage: {} PROGRAMS\n", argv[0]);
    return 2;
  }
  std::string scratch = (std::filesystem::temp_directory_path() / "tavro-bench-XXXXXX").string();
  if (!mkdtemp(scratch.data())) return 1;
  setenv("TAVRO_HOME", (scratch + "/home").c_str(), 1);
  setenv("TAVRO_DESKTOP", (scratch + "/desktop").c_str(), 1);
  setenv("HOME", scratch.c_str(), 1);
  int status = 0;
  try {
    measure(std::filesystem::absolute(argv[1]), scratch);
  } catch (const std::exception& failure) {
    fmt::print(stderr, "bench: {}\n", failure.what());
    status = 1;
  }
  std::filesystem::remove_all(scratch);
  return status;
}
