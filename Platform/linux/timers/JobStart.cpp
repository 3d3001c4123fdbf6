#include "Platform/linux/timers/JobStart.h"

#include <fcntl.h>
#include <linux/close_range.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <system_error>
#include <vector>

#include "Platform/Error.h"
#include "Platform/posix/Descriptor.h"
#include "Platform/posix/Exec.h"

namespace {

using std::string;

/// A pipe that nobody reads would hold us up, so it counts as one that can't be opened.
void openOutput(int handle, const std::optional<string>& file) {
  int log = -1;
  if (file) log = ::open(file->c_str(), O_WRONLY | O_APPEND | O_CREAT | O_NOCTTY | O_NONBLOCK | O_CLOEXEC, 0600);
  if (log >= 0)
    ::fcntl(log, F_SETFL, O_APPEND);
  else
    log = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
  ::dup2(log, handle);
}

void connectHandles(const LaunchJob& job) {
  ::dup2(::open("/dev/null", O_RDONLY | O_CLOEXEC), 0);
  openOutput(1, job.output);
  openOutput(2, job.errors);
  ::close_range(3, ~0U, CLOSE_RANGE_CLOEXEC);
}

string directoryOf(const LaunchJob& job, const JobEnvironment::Variables& variables) {
  if (job.directory) return *job.directory;
  const auto home = variables.find("HOME");
  return home == variables.end() ? "/" : home->second;
}

[[noreturn]] void fail(const char* what, const string& object) {
  ::dprintf(2, "launchd: could not %s %s: %s\n", what, object.c_str(), ::strerror(errno));
  ::_exit(127);
}

[[noreturn]] void become(const LaunchJob& job, const JobEnvironment::Variables& variables) {
  const auto directory = directoryOf(job, variables);
  if (::chdir(directory.c_str()) != 0) fail("enter", directory);
  auto arguments = job.arguments;
  std::vector<string> environment;
  for (const auto& [name, value] : variables) environment.push_back(name + "=" + value);
  ::execve(job.arguments.front().c_str(), pointersTo(arguments).data(), pointersTo(environment).data());
  fail("start", job.arguments.front());
}

}  // namespace

pid_t JobStart::start(const LaunchJob& job, const JobEnvironment::Variables& variables,
                      const std::function<void()>& record) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) throw Error("no pipe: " + std::generic_category().message(errno));
  const Descriptor whenRunning(ends[0]);
  Descriptor untilRunning(ends[1]);
  const pid_t child = ::fork();
  if (child < 0) throw Error("no process: " + std::generic_category().message(errno));
  if (child == 0) {
    ::setsid();
    connectHandles(job);
    record();
    resetSignals();
    become(job, variables);
  }
  untilRunning.close();
  char end;
  uninterrupted([&] { return ::read(whenRunning.number(), &end, 1); });  // the program's start closes the other end
  return child;
}
