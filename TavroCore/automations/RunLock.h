// The lock of one run: a directory <name>.lock.d with the holder's process id in `pid`. It appears whole, a prepared
// directory that takes its name in one step.
//
// A killed holder leaves it behind, and its id may by then be another process's. So beside `pid` lies `process`, which
// tells the holder from every other process that ever has its id (Process::identity); where it is missing, a live
// process of that id counts. Another user's process holds no lock.
//
// What makes it one of any number of contenders is a lock of the system's on the loop's own directory, which needs no
// space and dies with its holder. So a full disk, on which <name>.lock.d can't be made, keeps runs apart as well.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <string>

#include "Platform/FileLock.h"
#include "TavroCore/automations/LoopFiles.h"

class RunLock {
 public:
  /// Takes the lock where no live process holds it. Throws FileFailure where the loop's directory is gone or can't be
  /// locked.
  explicit RunLock(const LoopFiles& files);
  /// Releases it, if it is ours.
  ~RunLock();
  RunLock(const RunLock&) = delete;
  RunLock& operator=(const RunLock&) = delete;

  bool isHeld() const noexcept { return held_; }
  /// Of the live process that holds it, when we don't; 0 where that one couldn't write it down.
  pid_t holder() const noexcept { return holder_; }
  /// The `pid` text of the dead holder that we took it over from ("?" where it couldn't be read).
  const std::optional<std::string>& takenOverFrom() const noexcept { return takenOverFrom_; }

  /// The live process that holds the lock of this loop now.
  static std::optional<pid_t> liveHolder(const LoopFiles& files);

 private:
  std::filesystem::path lock_;
  std::optional<FileLock> directory_;  // of the loop, locked for as long as we live
  bool held_ = false;
  pid_t holder_ = 0;
  std::optional<std::string> takenOverFrom_;
};
