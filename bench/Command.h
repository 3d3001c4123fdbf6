// What whole commands cost: time from start to end, and the most memory that any of their processes took.
#pragma once

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <string>
#include <vector>

struct Cost {
  double milliseconds = 0;
  double megabytes = 0;  // the most that one of its processes grew to
};

/// Runs the command once, with nothing to read and its output thrown away.
inline Cost costOf(std::vector<std::string> command) {
  std::vector<char*> argv;
  for (std::string& word : command) argv.push_back(word.data());
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
  const auto before = std::chrono::steady_clock::now();
  pid_t child = 0;
  const bool started = posix_spawnp(&child, argv[0], &actions, nullptr, argv.data(), environ) == 0;
  posix_spawn_file_actions_destroy(&actions);
  int status = 0;
  rusage usage{};
  if (!started || wait4(child, &status, 0, &usage) < 0 || status != 0) throw std::runtime_error(command[0] + " failed");
  return {.milliseconds = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - before).count(),
          .megabytes = static_cast<double>(usage.ru_maxrss) / 1024};
}

inline Cost median(std::vector<Cost> costs) {
  std::sort(costs.begin(), costs.end(), [](const Cost& a, const Cost& b) { return a.milliseconds < b.milliseconds; });
  return costs[costs.size() / 2];
}

inline Cost medianCost(const std::vector<std::string>& command, int rounds) {
  std::vector<Cost> costs;
  for (int round = 0; round < rounds; ++round) costs.push_back(costOf(command));
  return median(std::move(costs));
}
