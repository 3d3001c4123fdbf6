#include "TavroCore/automations/RunLock.h"

#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <limits>
#include <thread>

#include "Platform/Files.h"
#include "Platform/Process.h"
#include "Platform/Text.h"

namespace fs = std::filesystem;
using namespace std::chrono_literals;

namespace {

std::optional<std::string> trimmedText(const fs::path& file) {
  const auto text = Files::readIfPossible(file);
  if (!text) return std::nullopt;
  return std::string(Text::trim(*text));
}

std::optional<pid_t> liveHolderOf(const fs::path& lock) {
  const auto number = Text::parseInteger(trimmedText(lock / "pid").value_or(""));
  if (!number || *number < 1 || *number > std::numeric_limits<pid_t>::max()) return std::nullopt;
  const auto process = static_cast<pid_t>(*number);
  if (!Process::isOurs(process)) return std::nullopt;  // runs are the owner's
  const std::string wrote = trimmedText(lock / "process").value_or("");
  const std::string now = Process::identity(process);
  if (!wrote.empty() && !now.empty() && wrote != now) return std::nullopt;  // the id has gone on to another process
  return process;
}

/// The lock as it is to appear. Only who has the loop's directory gets here, so one name does, and what a killed
/// contender left under it goes.
fs::path prepared(const fs::path& lock) {
  const fs::path next = lock.native() + ".new";
  Files::remove(next);
  Files::createDirectories(next);
  Files::createNew(next / "pid", std::to_string(getpid()), 0600, Files::Durability::unflushed);
  Files::createNew(next / "process", Process::identity(getpid()), 0600, Files::Durability::unflushed);
  return next;
}

void putInPlace(const fs::path& lock) {
  const fs::path next = prepared(lock);
  Files::remove(lock);  // a directory takes the name of an empty one only
  fs::rename(next, lock);
}

}  // namespace

std::optional<pid_t> RunLock::liveHolder(const LoopFiles& files) { return liveHolderOf(files.lock); }

RunLock::RunLock(const LoopFiles& files) : lock_(files.lock) {
  // Who holds the directory may be about to write its name down, or to go.
  for (int attempt = 0; attempt < 50 && !held_ && holder_ == 0; ++attempt) {
    if (attempt > 0) std::this_thread::sleep_for(20ms);
    directory_.emplace(files.directory);
    if (directory_->state() == FileLock::State::noFile) throw FileFailure("lock", files.directory, ENOENT);
    holder_ = liveHolderOf(lock_).value_or(0);
    held_ = holder_ == 0 && directory_->state() == FileLock::State::held;
  }
  if (!held_) return;
  if (Files::exists(lock_)) takenOverFrom_ = trimmedText(lock_ / "pid").value_or("?");
  try {
    putInPlace(lock_);
  } catch (const std::exception&) {  // a full disk: nobody sees who we are, but the directory is ours
  }
}

RunLock::~RunLock() {
  if (!held_ || liveHolderOf(lock_) != getpid()) return;
  try {
    Files::remove(lock_);
  } catch (const std::exception&) {  // the next run takes it over
  }
}
