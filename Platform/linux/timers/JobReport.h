// What can be told of a loaded job.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

#include "Platform/linux/timers/LaunchJob.h"

struct JobReport {
  LaunchJob job;
  std::string manager;                 // who times it: "systemd" or "launchd"
  std::optional<pid_t> process = {};   // of a run in progress
  std::optional<int> lastStatus = {};  // of the last run: 0 to 255, or minus the signal's number
  std::optional<long long> runs = {};  // since the load, where that is counted
};
