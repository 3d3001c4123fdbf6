// launchd: starts the loaded jobs (LaunchdJobs) when they are due (DueTimes), one run of each at a time. It sleeps
// until the next time of a job, the end of a run, a change of jobs, or a change of the clock, and can be killed at any
// moment: what was done stands in the jobs' states, and runs in progress go on and are known to the next launchd.
#pragma once

#include <map>
#include <string>

#include "Platform/FileLock.h"
#include "Platform/linux/timers/LaunchdJobs.h"
#include "Platform/posix/Descriptor.h"

class LaunchDaemon {
 public:
  /// Makes the folders. Throws FileFailure, and Error for what the system doesn't give.
  LaunchDaemon();
  LaunchDaemon(const LaunchDaemon&) = delete;
  LaunchDaemon& operator=(const LaunchDaemon&) = delete;

  /// False: there is one for this desktop already.
  bool isTheOnlyOne() const { return lock_.state() == FileLock::State::held; }
  /// Until SIGTERM or SIGINT, or until the desktop is removed.
  void run();

 private:
  struct Entry {
    LaunchdJob job;
    LaunchdState state;
    bool isLoaded = true;     // else it only waits for its run's end
    Descriptor process = {};  // readable when the run in progress has ended
  };

  void reload();
  void pass();
  void lookAfter(Entry& entry, const Moment& now);
  void start(Entry& entry, const Moment& now);
  void end(Entry& entry, const Moment& now);
  JobEnvironment::Variables variablesOf(const LaunchdJob& job) const;
  void noteNext(const DueTimes::Verdict& verdict);
  void setTimers();
  bool wait();  // false: it is time to go
  bool isHomeThere() const;

  const Moment started_ = Moment::now();
  FileLock lock_;
  Descriptor signals_;
  Descriptor changes_;
  Descriptor wallTimer_;
  Descriptor bootTimer_;
  std::map<std::string, Entry> entries_;  // by label
  std::optional<Dates::Instant> nextWall_;
  std::optional<std::chrono::microseconds> nextBoot_;
};
