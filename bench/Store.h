// A store of files on disk that a benchmark makes, measures and removes.
#pragma once

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <string>

#include "bench/Command.h"
#include "bench/Scratch.h"

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
inline int measureStore(
    int argc, char** argv,
    const std::function<void(const std::filesystem::path& programs, const std::filesystem::path& scratch)>& measure) {
  if (argc != 2) {
    fmt::print(stderr, "usage: {} PROGRAMS\n", argv[0]);
    return 2;
  }
  const auto programs = std::filesystem::absolute(argv[1]);
  return measureInScratch([&](const auto& scratch) { measure(programs, scratch); });
}
