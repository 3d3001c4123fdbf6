// The files of our own launchd, in <desktop>/launchd/. Each has one writer, so that nobody undoes what another wrote:
//
//   jobs/<name>.json    a loaded job; launchctl's, under `lockChanges`
//   state/<name>.json   what was done for it; launchd's, which holds launchd.lock (and, for the moment in which it
//                       becomes the job, its child's)
//   launchd.lock        held by the running launchd, whose process id it tells
//   changes.lock        held by a launchctl that changes jobs, systemd's too
//
// A name is the job's label (JobName). A file that can't be read costs that job only.
#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "Platform/FileLock.h"
#include "Platform/Process.h"
#include "Platform/linux/timers/DueTimes.h"
#include "Platform/linux/timers/JobEnvironment.h"
#include "Platform/linux/timers/JobReport.h"
#include "Platform/linux/timers/LaunchJob.h"

struct LaunchdJob {
  LaunchJob job;
  std::string load;  // another for each time that the job is loaded
  Moment loaded;
  JobEnvironment::Variables session = {};  // as it was then
};

struct LaunchdState {
  std::string load;  // of the job that the rest is about, but for `child`
  Moment handled;
  std::string startedIn = {};  // the computer's start in which a job with RunAtLoad was started
  long long runs = 0;
  std::optional<int> lastStatus = std::nullopt;       // as JobReport has it
  std::optional<Process::Seen> child = std::nullopt;  // a run in progress, of an earlier load too

  /// Of a job that was just loaded.
  static LaunchdState of(const LaunchdJob& job);
  bool isRunning() const;
};

namespace LaunchdJobs {

std::filesystem::path directory();
std::filesystem::path jobsDirectory();
std::filesystem::path lockFile();

/// The lock of a file, which is made if need be, once others have let go of it: `state` tells whether they did in time.
/// Throws FileFailure.
FileLock takeLock(const std::filesystem::path& file, std::chrono::seconds patience);

// ---- For launchctl. Changes are made under the lock.

/// Throws Error when another launchctl holds it for ten seconds.
FileLock lockChanges();
/// Writes the job, and sees to it that a launchd runs, now and after the next login. Throws Error; a job that no
/// launchd can be started for is taken out again.
void load(const LaunchJob& job);
/// A run in progress goes on. False when the job isn't loaded. Throws FileFailure.
bool unload(const std::string& label);
bool isLoaded(const std::string& label);
/// Who asks for jobs is told what holds: where some are loaded, a launchd that was killed is started again. Throws
/// Error when none can be.
std::vector<JobReport> reports();

// ---- For launchd.

/// By name. What can't be read is passed over.
std::vector<LaunchdJob> all();
/// Of this load, or a fresh one; a run in progress stays known.
LaunchdState state(const LaunchdJob& job);
/// Throws FileFailure.
void write(const std::string& label, const LaunchdState& state);
/// Removes the states of jobs that are gone, but for those that still run.
void removeOldStates(const std::vector<LaunchdJob>& jobs);

}  // namespace LaunchdJobs
