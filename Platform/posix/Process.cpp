// Children by posix_spawn, which doesn't copy our address space; their outputs by poll. A detached
// child goes through a short-lived process between us and it, so that init reaps it and not we.
#include "Platform/Process.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <system_error>

#include "Platform/posix/Descriptor.h"
#include "Platform/posix/Exec.h"
#include "Platform/posix/PipeSignal.h"

extern char** environ;

namespace Process {

LaunchFailure::LaunchFailure(Stage stage, int errorNumber, const std::string& program)
    : Error(fmt::format("could not start {}: {}", program, std::generic_category().message(errorNumber))),
      stage_(stage),
      errorNumber_(errorNumber) {}

std::string LaunchFailure::reason() const { return std::generic_category().message(errorNumber_); }

namespace {

using Stage = LaunchFailure::Stage;

bool holdsNul(const std::string& text) { return text.find('\0') != std::string::npos; }

/// What the kernel takes: null-terminated lists of pointers into texts that live here.
class Vectors {
 public:
  explicit Vectors(const Command& command) : program_(command.program.native()), arguments_{program_} {
    arguments_.insert(arguments_.end(), command.arguments.begin(), command.arguments.end());
    for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
      const std::string text = *entry;
      if (!command.environment.contains(text.substr(0, text.find('=')))) environment_.push_back(text);
    }
    for (const auto& [name, value] : command.environment) environment_.push_back(name + "=" + value);
    argumentPointers_ = pointersTo(arguments_);
    environmentPointers_ = pointersTo(environment_);
  }

  char* const* arguments() const { return argumentPointers_.data(); }
  char* const* environment() const { return environmentPointers_.data(); }

 private:
  std::string program_;
  std::vector<std::string> arguments_;
  std::vector<std::string> environment_;
  std::vector<char*> argumentPointers_;
  std::vector<char*> environmentPointers_;
};

/// A NUL byte would end a text early in the kernel's eyes, and so change its meaning unseen.
void refuseNul(const Command& command) {
  bool refused = holdsNul(command.program.native()) || std::ranges::any_of(command.arguments, holdsNul);
  for (const auto& [name, value] : command.environment) refused = refused || holdsNul(name) || holdsNul(value);
  if (command.directory) refused = refused || holdsNul(command.directory->native());
  if (refused) throw LaunchFailure(Stage::spawn, EINVAL, command.program.native());
}

/// A process that was started with SIGCHLD ignored never learns how its children ended. The default
/// disposition ignores the signal as well, but keeps the status.
void keepExitStatuses() {
  struct sigaction action {};
  if (sigaction(SIGCHLD, nullptr, &action) != 0) return;
  if (action.sa_handler != SIG_IGN && (action.sa_flags & SA_NOCLDWAIT) == 0) return;
  action.sa_flags &= ~SA_NOCLDWAIT;
  if (action.sa_handler == SIG_IGN) action.sa_handler = SIG_DFL;
  sigaction(SIGCHLD, &action, nullptr);
}

struct Pipe {
  Descriptor read;
  Descriptor write;
};

/// Away from 0, 1 and 2, which the child gives a meaning, when our own ones were closed.
Descriptor aboveStandardHandles(Descriptor descriptor) {
  if (descriptor.number() > 2) return descriptor;
  return Descriptor(fcntl(descriptor.number(), F_DUPFD_CLOEXEC, 3));
}

Pipe makePipe(const Command& command) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) throw LaunchFailure(Stage::pipe, errno, command.program.native());
  Descriptor read(ends[0]);
  Descriptor write(ends[1]);
  Pipe pipe{aboveStandardHandles(std::move(read)), aboveStandardHandles(std::move(write))};
  if (!pipe.read.isOpen() || !pipe.write.isOpen()) {
    throw LaunchFailure(Stage::pipe, errno, command.program.native());
  }
  return pipe;
}

class FileActions {
 public:
  explicit FileActions(std::string program) : program_(std::move(program)) {
    check(posix_spawn_file_actions_init(&actions_));
  }
  ~FileActions() { posix_spawn_file_actions_destroy(&actions_); }
  FileActions(const FileActions&) = delete;
  FileActions& operator=(const FileActions&) = delete;

  void give(const Descriptor& ours, int theirs) {
    check(posix_spawn_file_actions_adddup2(&actions_, ours.number(), theirs));
  }
  void read(const std::filesystem::path& file, int theirs) {
    check(posix_spawn_file_actions_addopen(&actions_, theirs, file.c_str(), O_RDONLY, 0));
  }
  void discard(int theirs) { check(posix_spawn_file_actions_addopen(&actions_, theirs, "/dev/null", O_WRONLY, 0)); }
  void enter(const std::filesystem::path& directory) {
    check(posix_spawn_file_actions_addchdir_np(&actions_, directory.c_str()));
  }
  /// Also those that a library opened without close-on-exec.
  void closeTheRest() { check(posix_spawn_file_actions_addclosefrom_np(&actions_, 3)); }
  const posix_spawn_file_actions_t* get() const { return &actions_; }

 private:
  void check(int errorNumber) const {
    if (errorNumber != 0) throw LaunchFailure(Stage::spawn, errorNumber, program_);
  }

  std::string program_;
  posix_spawn_file_actions_t actions_{};
};

/// No signal ignored or blocked that our own starter, or we, ignore or block.
class Attributes {
 public:
  Attributes() {
    posix_spawnattr_init(&attributes_);
    sigset_t signals;
    sigfillset(&signals);
    sigdelset(&signals, SIGKILL);
    sigdelset(&signals, SIGSTOP);
    posix_spawnattr_setsigdefault(&attributes_, &signals);
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&attributes_, &signals);
    posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
  }
  ~Attributes() { posix_spawnattr_destroy(&attributes_); }
  Attributes(const Attributes&) = delete;
  Attributes& operator=(const Attributes&) = delete;
  const posix_spawnattr_t* get() const { return &attributes_; }

 private:
  posix_spawnattr_t attributes_{};
};

using Clock = std::chrono::steady_clock;
using Deadline = Clock::time_point;
constexpr Deadline never = Deadline::max();

/// As poll takes it.
int millisecondsTo(Deadline deadline) {
  if (deadline == never) return -1;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
  return static_cast<int>(std::clamp<decltype(left)>(left, 0, 1'000'000'000));
}

bool isPath(const std::filesystem::path& program) { return program.native().find('/') != std::string::npos; }

/// A started child, reaped at the latest when this goes.
class Child {
 public:
  Child() = default;
  ~Child() {
    if (id_ > 0) wait();
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  void start(const Command& command, const FileActions& actions) {
    const Vectors vectors(command);
    const Attributes attributes;
    const auto spawn = isPath(command.program) ? posix_spawn : posix_spawnp;
    const int failure = spawn(&id_, command.program.c_str(), actions.get(), attributes.get(), vectors.arguments(),
                              vectors.environment());
    if (failure == 0) return;
    id_ = 0;
    throw LaunchFailure(Stage::spawn, failure, command.program.native());
  }

  Status wait(Deadline deadline = never) noexcept {
    if (deadline != never && !endsBefore(deadline)) kill(id_, SIGKILL);
    int status = 0;
    const pid_t reaped = uninterrupted([&] { return waitpid(id_, &status, 0); });
    id_ = 0;
    // Somebody else reaped our child; nothing tells how it ended, so it counts as a failure.
    if (reaped < 0) return {.exited = true, .code = 255};
    if (WIFSIGNALED(status)) return {.exited = false, .signal = WTERMSIG(status)};
    return {.exited = true, .code = WEXITSTATUS(status)};
  }

 private:
  bool endsBefore(Deadline deadline) const noexcept {
    const Descriptor child(static_cast<int>(syscall(SYS_pidfd_open, id_, 0)));
    pollfd end{child.number(), POLLIN, 0};
    return uninterrupted([&] { return poll(&end, 1, millisecondsTo(deadline)); }) > 0;
  }

  pid_t id_ = 0;
};

/// Takes what is there; closes the pipe at its end.
void drain(Descriptor& pipe, std::string& into) {
  std::array<char, 65536> buffer;
  const ssize_t count = uninterrupted([&] { return read(pipe.number(), buffer.data(), buffer.size()); });
  if (count > 0) {
    into.append(buffer.data(), static_cast<std::size_t>(count));
  } else {
    pipe.close();
  }
}

/// Gives what the pipe takes; closes it after the last byte, or when nobody reads any more.
void feed(Descriptor& pipe, std::string_view& rest) {
  const WithoutPipeSignal guard;
  const ssize_t count = uninterrupted([&] { return write(pipe.number(), rest.data(), rest.size()); });
  if (count > 0) rest.remove_prefix(static_cast<std::size_t>(count));
  if (rest.empty() || (count < 0 && errno != EAGAIN)) pipe.close();
}

/// All three at once: a child may fill one output while it waits for input or for the other's reader.
void exchange(Descriptor& input, std::string_view text, Descriptor& output, Descriptor& errors, Result& result,
              Deadline deadline) {
  while (input.isOpen() || output.isOpen() || errors.isOpen()) {
    // poll passes over the closed ones, whose number is -1.
    std::array<pollfd, 3> ends{
        {{input.number(), POLLOUT, 0}, {output.number(), POLLIN, 0}, {errors.number(), POLLIN, 0}}};
    const int ready = uninterrupted([&] { return poll(ends.data(), ends.size(), millisecondsTo(deadline)); });
    if (ready < 0) throw Error("could not wait for a program's output: " + std::generic_category().message(errno));
    if (ready == 0) return;
    if (ends[0].revents != 0) feed(input, text);
    if (ends[1].revents != 0) drain(output, result.output);
    if (ends[2].revents != 0) drain(errors, result.errors);
  }
}

/// Closed when there is no log, or it can't be opened. A pipe, say, could keep us or the child waiting for its reader.
Descriptor openLog(const Command& command) {
  if (!command.log) return Descriptor();
  constexpr int flags = O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
  Descriptor log(open(command.log->c_str(), flags, 0600));
  struct stat entry {};
  if (!log.isOpen() || fstat(log.number(), &entry) != 0 || !S_ISREG(entry.st_mode)) return Descriptor();
  return aboveStandardHandles(std::move(log));
}

Pipe connectOutput(const Command& command, Output output, const Descriptor& log, int handle, FileActions& actions) {
  if (log.isOpen()) {
    actions.give(log, handle);
    return {};
  }
  if (command.log) output = Output::discard;
  if (output == Output::discard) actions.discard(handle);
  if (output != Output::capture) return {};
  Pipe pipe = makePipe(command);
  actions.give(pipe.write, handle);
  return pipe;
}

Pipe connectInput(const Command& command, FileActions& actions) {
  if (command.inputFile && access(command.inputFile->c_str(), R_OK) == 0) actions.read(*command.inputFile, 0);
  if (!command.input) return {};
  Pipe pipe = makePipe(command);
  actions.give(pipe.read, 0);
  fcntl(pipe.write.number(), F_SETFL, O_NONBLOCK);  // ours alone: a pipe's ends have flags of their own
  return pipe;
}

void nullDeviceOnStandardHandles() {
  const int device = open("/dev/null", O_RDWR);
  for (int handle = 0; handle < 3; ++handle) dup2(device, handle);
  if (device > 2) close(device);
}

/// In the detached process. Between fork and exec another thread's locks may stand locked for good, so
/// nothing here allocates. Returns the errno of what failed.
int becomeProgram(const Command& command, const Vectors& vectors, int report) {
  setsid();
  resetSignals();
  nullDeviceOnStandardHandles();
  close_range(3, static_cast<unsigned>(report) - 1, 0);
  close_range(static_cast<unsigned>(report) + 1, ~0U, 0);
  if (command.directory && chdir(command.directory->c_str()) != 0) return errno;
  if (isPath(command.program)) {
    execve(command.program.c_str(), vectors.arguments(), vectors.environment());
  } else {
    execvpe(command.program.c_str(), vectors.arguments(), vectors.environment());
  }
  return errno;
}

/// In the process between: starts the detached one and goes, so that init takes it over.
[[noreturn]] void startAndLeave(const Command& command, const Vectors& vectors, int report) {
  const pid_t detached = fork();
  if (detached > 0) _exit(0);
  const int failure = detached < 0 ? errno : becomeProgram(command, vectors, report);
  static_cast<void>(!write(report, &failure, sizeof failure));
  _exit(127);
}

}  // namespace

Result run(const Command& command) {
  refuseNul(command);
  keepExitStatuses();
  FileActions actions(command.program.native());
  Child child;  // goes after the pipes, whose closing ends a child that is left alone
  Pipe input = connectInput(command, actions);
  const Descriptor log = openLog(command);
  Pipe output = connectOutput(command, command.output, log, 1, actions);
  Pipe errors = connectOutput(command, command.errors, log, 2, actions);
  if (command.directory) actions.enter(*command.directory);
  actions.closeTheRest();
  const Deadline deadline = command.limit ? Clock::now() + *command.limit : never;
  child.start(command, actions);
  input.read.close();
  output.write.close();
  errors.write.close();
  Result result;
  exchange(input.write, command.input ? *command.input : std::string_view(), output.read, errors.read, result,
           deadline);
  result.status = child.wait(deadline);
  return result;
}

void detach(const Command& command) {
  refuseNul(command);
  const Vectors vectors(command);
  Pipe report = makePipe(command);
  const pid_t between = fork();
  if (between < 0) throw LaunchFailure(Stage::spawn, errno, command.program.native());
  if (between == 0) startAndLeave(command, vectors, report.write.number());
  report.write.close();
  uninterrupted([&] { return waitpid(between, nullptr, 0); });
  int failure = 0;
  // The program's start closes the pipe without a word.
  const ssize_t told = uninterrupted([&] { return read(report.read.number(), &failure, sizeof failure); });
  if (told == sizeof failure) throw LaunchFailure(Stage::spawn, failure, command.program.native());
}

}  // namespace Process
