#include "Platform/linux/timers/LaunchDaemon.h"

#include <poll.h>
#include <signal.h>
#include <sys/inotify.h>
#include <sys/signalfd.h>
#include <sys/syscall.h>
#include <sys/timerfd.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <vector>

#include "Platform/Files.h"
#include "Platform/linux/timers/JobStart.h"

namespace {

using std::chrono::microseconds;

/// A launchd that was killed may have left a child that is about to become its job and holds the lock till then, so one
/// that finds it taken waits for a moment.
FileLock takeLock() { return LaunchdJobs::takeLock(LaunchdJobs::lockFile(), std::chrono::seconds(1)); }

Descriptor need(int descriptor, const char* what) {
  if (descriptor < 0)
    throw Error(std::string("launchd gets no ") + what + ": " + std::generic_category().message(errno));
  return Descriptor(descriptor);
}

Descriptor endingSignals() {
  sigset_t signals;
  ::sigemptyset(&signals);
  for (const int number : {SIGTERM, SIGINT}) ::sigaddset(&signals, number);
  ::sigprocmask(SIG_BLOCK, &signals, nullptr);
  return need(::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK), "signals");
}

/// Of the jobs, of the folder (the lock's removal ends us), and of the computer's time zone.
Descriptor changesOfFiles() {
  auto changes = need(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK), "word of changed files");
  ::inotify_add_watch(changes.number(), LaunchdJobs::jobsDirectory().c_str(), IN_MOVE | IN_DELETE | IN_DELETE_SELF);
  ::inotify_add_watch(changes.number(), LaunchdJobs::directory().c_str(), IN_DELETE | IN_MOVE_SELF);
  ::inotify_add_watch(changes.number(), "/etc", IN_MOVED_TO | IN_CREATE);
  return changes;
}

/// False: the clock was set while we looked at it.
bool set(const Descriptor& timer, int flags, const std::optional<microseconds>& at) {
  itimerspec time{};
  if (at) {
    const auto instant = std::max(*at, microseconds(1));  // zero would stop the timer
    time.it_value.tv_sec = instant.count() / 1'000'000;
    time.it_value.tv_nsec = instant.count() % 1'000'000 * 1000;
  }
  return ::timerfd_settime(timer.number(), flags, &time, nullptr) == 0 || errno != ECANCELED;
}

/// Readable when the process has ended, whosever child it is.
Descriptor handleOf(pid_t process) { return Descriptor(static_cast<int>(::syscall(SYS_pidfd_open, process, 0))); }

/// Takes what there is to read; true when there was something.
bool drain(const Descriptor& descriptor) {
  std::array<char, 4096> bytes;
  bool any = false;
  while (::read(descriptor.number(), bytes.data(), bytes.size()) > 0) any = true;
  return any;
}

void keep(const std::string& label, const LaunchdState& state) noexcept try {
  LaunchdJobs::write(label, state);
} catch (const std::exception&) {
  // A full disk: as long as we live, we know it all the same.
}

bool needsStart(const LaunchdJob& job, const LaunchdState& state, const Moment& now) {
  return job.job.runAtLoad && state.startedIn != now.bootId;
}

}  // namespace

LaunchDaemon::LaunchDaemon()
    : lock_(takeLock()),
      signals_(endingSignals()),
      changes_(changesOfFiles()),
      wallTimer_(need(::timerfd_create(CLOCK_REALTIME, TFD_CLOEXEC | TFD_NONBLOCK), "timer")),
      bootTimer_(need(::timerfd_create(CLOCK_BOOTTIME, TFD_CLOEXEC | TFD_NONBLOCK), "timer")) {
  if (isTheOnlyOne()) Files::overwrite(LaunchdJobs::lockFile(), std::to_string(::getpid()) + "\n");
}

void LaunchDaemon::run() {
  reload();
  do pass();
  while (wait());
}

void LaunchDaemon::reload() {
  const auto jobs = LaunchdJobs::all();
  for (auto& [label, entry] : entries_) entry.isLoaded = false;
  for (const auto& job : jobs) {
    const auto known = entries_.find(job.job.label);
    if (known == entries_.end()) {
      entries_.emplace(job.job.label, Entry{job, LaunchdJobs::state(job)});
      continue;
    }
    auto& entry = known->second;
    entry.isLoaded = true;
    if (entry.job.load == job.load) continue;
    const auto child = entry.state.child;
    entry.job = job;
    entry.state = LaunchdState::of(job);
    entry.state.child = child;
  }
  LaunchdJobs::removeOldStates(jobs);
}

void LaunchDaemon::pass() {
  const auto now = Moment::now();
  nextWall_.reset();
  nextBoot_.reset();
  for (auto& [label, entry] : entries_) lookAfter(entry, now);
  std::erase_if(entries_, [](const auto& item) { return !item.second.isLoaded && !item.second.state.child; });
  setTimers();
}

void LaunchDaemon::lookAfter(Entry& entry, const Moment& now) {
  if (entry.state.child && !entry.state.isRunning()) end(entry, now);
  if (entry.state.child && !entry.process.isOpen())  // one that was started before us
    entry.process = handleOf(entry.state.child->process);
  if (entry.state.child || !entry.isLoaded) return;
  auto verdict = DueTimes::judge(entry.job.job, entry.state.handled, now);
  if (verdict.isDue || needsStart(entry.job, entry.state, now)) {
    start(entry, now);
    if (entry.state.child) return;
    verdict = DueTimes::judge(entry.job.job, entry.state.handled, now);
  } else if (verdict.handled != entry.state.handled) {
    entry.state.handled = verdict.handled;
    keep(entry.job.job.label, entry.state);
  }
  noteNext(verdict);
}

void LaunchDaemon::start(Entry& entry, const Moment& now) {
  auto& state = entry.state;
  const auto& job = entry.job.job;
  state.handled = now;
  state.startedIn = now.bootId;
  ++state.runs;
  try {
    const pid_t child = JobStart::start(job, variablesOf(entry.job), [&] {
      state.child = {::getpid(), Process::identity(::getpid())};
      keep(job.label, state);
    });
    state.child = {child, Process::identity(child)};
    entry.process = handleOf(child);
  } catch (const Error&) {  // no process left: the next time may find one
    keep(job.label, state);
  }
}

void LaunchDaemon::end(Entry& entry, const Moment& now) {
  int status = 0;
  const bool isOurs = ::waitpid(entry.state.child->process, &status, WNOHANG) == entry.state.child->process;
  entry.state.lastStatus.reset();  // nobody tells how another's child ended
  if (isOurs) entry.state.lastStatus = WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
  entry.state.child.reset();
  entry.process.close();
  entry.state.handled = DueTimes::afterEnd(entry.job.job, entry.state.handled, now);
  keep(entry.job.job.label, entry.state);
}

JobEnvironment::Variables LaunchDaemon::variablesOf(const LaunchdJob& job) const {
  const bool loadedBefore = job.loaded.bootId != started_.bootId || job.loaded.boot < started_.boot;
  auto variables = job.job.environment;
  if (loadedBefore) variables.merge(JobEnvironment::session());  // this login's
  auto recorded = job.session;
  variables.merge(recorded);
  return variables;
}

void LaunchDaemon::noteNext(const DueTimes::Verdict& verdict) {
  if (verdict.wall) nextWall_ = std::min(nextWall_.value_or(*verdict.wall), *verdict.wall);
  if (verdict.boot) nextBoot_ = std::min(nextBoot_.value_or(*verdict.boot), *verdict.boot);
}

void LaunchDaemon::setTimers() {
  std::optional<microseconds> wall;
  if (nextWall_) wall = nextWall_->time_since_epoch();
  if (!set(wallTimer_, TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET, wall)) nextBoot_ = microseconds(0);
  set(bootTimer_, TFD_TIMER_ABSTIME, nextBoot_);
}

bool LaunchDaemon::wait() {
  std::vector<pollfd> ends;
  for (const auto* descriptor : {&signals_, &changes_, &wallTimer_, &bootTimer_})
    ends.push_back({descriptor->number(), POLLIN, 0});
  int limit = -1;
  for (const auto& [label, entry] : entries_) {
    if (entry.process.isOpen()) ends.push_back({entry.process.number(), POLLIN, 0});
    if (entry.state.child && !entry.process.isOpen()) limit = 1000;  // nothing will tell its end
  }
  uninterrupted([&] { return ::poll(ends.data(), ends.size(), limit); });
  if (drain(signals_)) return false;
  drain(wallTimer_);
  drain(bootTimer_);
  if (!drain(changes_)) return true;
  if (!isHomeThere()) return false;
  reload();
  return true;
}

bool LaunchDaemon::isHomeThere() const {
  return lock_.isOn(LaunchdJobs::lockFile()) && Files::isDirectory(LaunchdJobs::jobsDirectory());
}
