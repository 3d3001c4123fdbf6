// Child processes. A child gets its three standard handles and no other of our descriptors, default
// signals and an empty signal mask; input and outputs move at once, so that neither side waits for the
// other; every child is reaped. Any thread may call.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Error.h"

namespace Process {

/// A child could not be started. `stage` is the call that failed, `errorNumber` its errno.
class LaunchFailure : public Error {
 public:
  enum class Stage { pipe, spawn };
  LaunchFailure(Stage stage, int errorNumber, const std::string& program);
  Stage stage() const noexcept { return stage_; }
  int errorNumber() const noexcept { return errorNumber_; }
  /// The system's words for the error alone, without the program.
  std::string reason() const;

 private:
  Stage stage_;
  int errorNumber_;
};

/// Bytes of the longest single argument that a child can be given on every system that we run on (Linux's
/// MAX_ARG_STRLEN of 32 pages, less the NUL at its end).
inline constexpr std::size_t longestArgument = 131071;

enum class Output { inherit, capture, discard };

struct Command {
  std::filesystem::path program;                    // run as it stands; PATH is searched only without a "/"
  std::vector<std::string> arguments = {};          // without the program's own name; no NUL bytes
  std::optional<std::string> input = std::nullopt;  // text for standard input; absent: inherited
  std::optional<std::filesystem::path> inputFile = std::nullopt;  // instead, when it can be opened
  Output output = Output::capture;
  Output errors = Output::capture;
  /// Both outputs are appended to this file instead, which is made where there is none; when it can't be opened, or is
  /// no regular file, they are discarded.
  std::optional<std::filesystem::path> log = std::nullopt;
  std::map<std::string, std::string> environment = {};  // set on top of our own
  std::optional<std::filesystem::path> directory = std::nullopt;
  std::optional<std::chrono::milliseconds> limit = std::nullopt;  // then it is killed (SIGKILL)
  bool ownPrivacyIdentity = false;  // the child answers for its own privacy permissions (macOS only)
};

struct Status {
  bool exited = false;  // ended by itself; else by `signal`
  int code = 0;         // exit status, 0 to 255, when `exited`
  int signal = 0;       // the signal's number, when not `exited`
  bool ok() const noexcept { return exited && code == 0; }
  /// One number for both ends, as shells have it: 128 plus the signal's number.
  int shellCode() const noexcept { return exited ? code : 128 + signal; }
};

struct Result {
  Status status;
  std::string output;  // raw bytes
  std::string errors;
};

/// Runs the command to its end, or its limit: until it has ended and every process that
/// inherited a captured output has closed it. Input that the child doesn't read is dropped. Throws
/// LaunchFailure, also for an argument with a NUL byte (EINVAL) or longer than the system takes (E2BIG).
Result run(const Command& command);

/// Starts the command in a session of its own with its three standard handles on the null device, and
/// returns when the program runs; the settings of input and outputs, and the limit, don't count. The child
/// outlives us and is never a zombie of ours. Throws LaunchFailure as `run` does.
void detach(const Command& command);

/// Is a process of this id alive (a zombie is not)?
bool isAlive(pid_t process);
/// Is it alive, and one that we may ask to end? Another user's isn't.
bool isOurs(pid_t process);

/// Asks a process to end (SIGTERM). Does nothing where there is none of this id that we may ask.
void terminate(pid_t process) noexcept;

/// A line that no other process has or will have, whatever its id: where and when it was started. Empty when there is
/// none of this id, or the system can't tell.
std::string identity(pid_t process);

/// A process that was seen, told from every later one of its id.
struct Seen {
  pid_t process = 0;
  std::string identity;
};
bool isAlive(const Seen& seen);

/// The process and all that descend from it at this moment, parents first; empty where there is none of this id.
std::vector<Seen> family(pid_t process);
/// Asks them to end (SIGTERM); passes over ourselves, as `endAll` does.
void terminateAll(const std::vector<Seen>& processes);
/// Returns when all of these have ended; what is left of them after `patience` is killed (SIGKILL) in their
/// order: no parent is to go on when its child has ended.
void endAll(const std::vector<Seen>& processes, std::chrono::milliseconds patience);

}  // namespace Process
