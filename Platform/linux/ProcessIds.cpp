// Processes by their ids, children of ours or not. An id goes on to another process some time after its own has ended;
// what tells the two apart is when they were started.
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <thread>

#include "Platform/Process.h"
#include "Platform/linux/Proc.h"

namespace Process {

namespace {

bool isAliveBesideUs(const Seen& seen) { return seen.process != getpid() && isAlive(seen); }

void signalAll(const std::vector<Seen>& processes, int number) {
  for (const Seen& seen : processes) {
    if (isAliveBesideUs(seen)) kill(seen.process, number);
  }
}

void waitForAll(const std::vector<Seen>& processes, std::chrono::milliseconds patience) {
  using Clock = std::chrono::steady_clock;
  const auto deadline = Clock::now() + patience;
  while (std::ranges::any_of(processes, isAliveBesideUs) && Clock::now() < deadline)
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
}

}  // namespace

bool isAlive(pid_t process) {
  if (process <= 0 || (kill(process, 0) != 0 && errno == ESRCH)) return false;
  const auto entry = Proc::entry(process);
  return !entry || !entry->isDead();  // without /proc the kernel's answer stands
}

bool isAlive(const Seen& seen) { return isAlive(seen.process) && identity(seen.process) == seen.identity; }

bool isOurs(pid_t process) { return isAlive(process) && kill(process, 0) == 0; }

void terminate(pid_t process) noexcept {
  if (process > 0) kill(process, SIGTERM);  // 0 and below name groups
}

std::string identity(pid_t process) {
  const auto entry = Proc::entry(process);
  const auto boot = Proc::bootId();
  return entry && !boot.empty() ? boot + " " + std::to_string(entry->start) : "";
}

std::vector<Seen> family(pid_t process) {
  std::multimap<pid_t, pid_t> children;  // by parent
  for (const auto& entry : Proc::all()) children.emplace(entry.parent, entry.process);
  std::vector<Seen> all = {{process, identity(process)}};
  if (all.front().identity.empty()) return {};
  for (std::size_t at = 0; at < all.size(); ++at) {
    const auto [begin, end] = children.equal_range(all[at].process);
    std::for_each(begin, end, [&](const auto& child) { all.push_back({child.second, identity(child.second)}); });
  }
  return all;
}

void terminateAll(const std::vector<Seen>& processes) { signalAll(processes, SIGTERM); }

void endAll(const std::vector<Seen>& processes, std::chrono::milliseconds patience) {
  waitForAll(processes, patience);
  signalAll(processes, SIGKILL);
  waitForAll(processes, std::chrono::seconds(1));  // the kernel takes a moment
}

}  // namespace Process
