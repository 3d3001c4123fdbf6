#include "Platform/linux/terminal/TerminalHost.h"

#include <fcntl.h>
#include <poll.h>
#include <pwd.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "Platform/Environment.h"
#include "Platform/Error.h"
#include "Platform/Process.h"
#include "Platform/Text.h"
#include "Platform/linux/terminal/TerminalSession.h"
#include "Platform/posix/Descriptor.h"
#include "Platform/posix/Exec.h"

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

namespace TerminalHost {

namespace {

constexpr std::size_t most = 65536;  // that waits for one side before we read more from the other
constexpr auto untilReady = std::chrono::seconds(1);
constexpr auto untilKilled = std::chrono::seconds(2);
constexpr auto untilLeft = std::chrono::seconds(4);

[[noreturn]] void fail(const std::string& what) {
  throw Error("could not " + what + ": " + std::generic_category().message(errno));
}

// ---- The two terminals

/// The window's, which passes every key on untouched until we end.
class Screen {
 public:
  Screen() {
    if (tcgetattr(STDIN_FILENO, &before_) != 0) throw Error("this runs in windows of Terminal and iTerm2 alone");
    const char* name = ttyname(STDIN_FILENO);
    // Opened anew, since not to block is ours alone and not for those who share our standard handles.
    terminal_ = Descriptor(name == nullptr ? -1 : ::open(name, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    if (!terminal_.isOpen()) fail("open the window's terminal");
    termios raw = before_;
    cfmakeraw(&raw);
    tcsetattr(STDIN_FILENO, TCSANOW, &raw);
  }
  ~Screen() { tcsetattr(STDIN_FILENO, TCSANOW, &before_); }
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;

  int number() const { return terminal_.number(); }
  const termios& settings() const { return before_; }
  winsize size() const {
    winsize size{};
    ioctl(STDIN_FILENO, TIOCGWINSZ, &size);
    return size;
  }

 private:
  Descriptor terminal_;
  termios before_{};
};

/// Our side of the shell's.
class Terminal {
 public:
  explicit Terminal(const Screen& screen) : side_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK)) {
    std::array<char, 128> path{};
    if (!side_.isOpen() || grantpt(number()) != 0 || unlockpt(number()) != 0 ||
        ptsname_r(number(), path.data(), path.size()) != 0)
      fail("make a terminal");
    name_ = path.data();
    tcsetattr(number(), TCSANOW, &screen.settings());
    fit(screen);
  }

  int number() const { return side_.number(); }
  const std::string& name() const { return name_; }
  void fit(const Screen& screen) const {
    const winsize size = screen.size();
    ioctl(number(), TIOCSWINSZ, &size);
  }
  /// Does the shell edit its line itself, so that it is there to read one?
  bool isEdited() const {
    termios settings{};
    return tcgetattr(number(), &settings) == 0 && (settings.c_lflag & ICANON) == 0;
  }

 private:
  Descriptor side_;
  std::string name_;
};

// ---- The shell

bool isProgram(const std::string& path) { return path.starts_with('/') && ::access(path.c_str(), X_OK) == 0; }

std::string loginShell() {
  const auto chosen = Environment::value("SHELL");
  if (chosen && isProgram(*chosen)) return *chosen;
  const passwd* user = getpwuid(getuid());
  return user != nullptr && isProgram(user->pw_shell) ? user->pw_shell : "/bin/sh";
}

struct Start {
  std::string program;
  std::vector<std::string> words;
};

Start startOf(const TerminalSessions::Request& request) {
  if (!request.command.empty()) return {"/bin/sh", {"sh", "-c", request.command}};
  const auto shell = loginShell();
  return {shell, {"-" + fs::path(shell).filename().string()}};  // the dash tells it that it is the login's
}

void takeVariables(const std::map<std::string, std::string>& variables) {
  for (const auto& [name, value] : TerminalSessions::ownVariables()) unsetenv(name.c_str());
  for (const auto& [name, value] : variables) setenv(name.c_str(), value.c_str(), 1);
}

[[noreturn]] void become(Start start, const std::string& terminal) {
  setsid();
  const int side = ::open(terminal.c_str(), O_RDWR);
  ioctl(side, TIOCSCTTY, 0);
  for (int handle = 0; handle < 3; ++handle) dup2(side, handle);
  close_range(3, ~0U, 0);
  resetSignals();
  static_cast<void>(!::chdir(Environment::home().c_str()));
  execv(start.program.c_str(), pointersTo(start.words).data());
  dprintf(STDERR_FILENO, "%s could not be started: %s\r\n", start.program.c_str(), strerror(errno));
  _exit(127);
}

// ---- The traffic

/// Signals as something to read.
Descriptor takeSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int number : {SIGCHLD, SIGWINCH, SIGHUP, SIGTERM, SIGINT, SIGQUIT}) sigaddset(&signals, number);
  sigprocmask(SIG_BLOCK, &signals, nullptr);
  signal(SIGPIPE, SIG_IGN);
  signal(SIGTTOU, SIG_IGN);
  return Descriptor(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
}

/// Reads what is there into `pending`; false at the end.
bool fill(int from, std::string& pending) {
  std::array<char, 16384> bytes;
  const auto count = uninterrupted([&] { return ::read(from, bytes.data(), bytes.size()); });
  if (count > 0) pending.append(bytes.data(), static_cast<std::size_t>(count));
  return count > 0 || (count < 0 && errno == EAGAIN);
}

/// Writes what is taken of `pending`; false when nobody is there.
bool drain(int into, std::string& pending) {
  const auto count = uninterrupted([&] { return ::write(into, pending.data(), pending.size()); });
  if (count > 0) pending.erase(0, static_cast<std::size_t>(count));
  return count >= 0 || errno == EAGAIN;
}

class Host {
 public:
  Host(const fs::path& directory, const TerminalSessions::Order& order)
      : signals_(takeSignals()), terminal_(screen_), input_(openInput(directory)) {
    takeVariables(order.variables);
    isReady_ = !order.request.command.empty();
    const Start start = startOf(order.request);
    shell_ = fork();
    if (shell_ < 0) fail("start the shell");
    if (shell_ == 0) become(start, terminal_.name());
  }
  ~Host() {
    if (!status_) kill(shell_, SIGKILL);
  }
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  TerminalSession session(const std::string& application) const {
    const auto window = Text::parseInteger(Environment::value("WINDOWID").value_or("0")).value_or(0);
    const bool isNumber = window > 0 && window <= UINT32_MAX;
    return {.id = {},
            .application = application,
            .process = getpid(),
            .identity = Process::identity(getpid()),
            .shell = shell_,
            .tty = terminal_.name(),
            .window = isNumber ? static_cast<std::uint32_t>(window) : 0};
  }

  int relay() {
    while (!status_ && !isLate()) {
      release();
      step();
    }
    // What the shell said last; somebody whom it left behind may go on writing for ever.
    for (std::size_t turns = 0; isScreenThere_ && turns < 64 && fill(terminal_.number(), toScreen_); ++turns)
      if (toScreen_.empty() || !drain(screen_.number(), toScreen_)) break;
    return status_.value_or(128 + SIGKILL);
  }

 private:
  static Descriptor openInput(const fs::path& directory) {
    const auto pipe = TerminalSessions::inputPipe(directory);
    // Written by scripts that come and go; that we can write as well keeps it from ending.
    Descriptor input(mkfifo(pipe.c_str(), 0600) == 0 ? ::open(pipe.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC) : -1);
    if (!input.isOpen()) fail("make " + pipe.string());
    return input;
  }

  /// Typed text waits for the shell's line editor, which would otherwise show it twice, and some throw away what came
  /// before them. A shell without one gets it after a while.
  void release() {
    isReady_ = isReady_ || terminal_.isEdited() || Clock::now() > begun_ + untilReady;
    if (!isReady_) return;
    toShell_ += typed_;
    typed_.clear();
  }

  /// One round: whatever can be moved now is.
  void step() {
    const auto wants = [](bool condition, int number) { return condition ? number : -1; };
    const bool hasRoom = toShell_.size() + typed_.size() < most;
    std::array<pollfd, 4> ends = {{
        {wants(isScreenThere_ && (hasRoom || !toScreen_.empty()), screen_.number()),
         static_cast<short>((hasRoom ? POLLIN : 0) | (toScreen_.empty() ? 0 : POLLOUT)), 0},
        {wants(isShellThere_ && (toScreen_.size() < most || !toShell_.empty()), terminal_.number()),
         static_cast<short>((toScreen_.size() < most ? POLLIN : 0) | (toShell_.empty() ? 0 : POLLOUT)), 0},
        {wants(hasRoom, input_.number()), POLLIN, 0},
        {signals_.number(), POLLIN, 0},
    }};
    if (::poll(ends.data(), ends.size(), waiting()) < 0 && errno != EINTR) fail("wait for the terminal");
    if ((ends[3].revents & POLLIN) != 0) heed();
    if ((ends[2].revents & POLLIN) != 0) fill(input_.number(), typed_);
    if (ends[1].revents != 0) serveShell(ends[1].revents);
    if (ends[0].revents != 0) serveScreen(ends[0].revents);
  }

  int waiting() const {
    if (!typed_.empty()) return 20;
    return hungUp_ ? 100 : -1;
  }

  void serveScreen(short events) {
    bool isThere = (events & (POLLERR | POLLNVAL)) == 0;
    if ((events & (POLLIN | POLLHUP)) != 0) isThere = isThere && fill(screen_.number(), toShell_);
    if ((events & POLLOUT) != 0 && isThere) isThere = drain(screen_.number(), toScreen_);
    if (isThere) return;
    isScreenThere_ = false;
    hangUp();
  }

  void serveShell(short events) {
    if ((events & (POLLIN | POLLHUP)) != 0) isShellThere_ = fill(terminal_.number(), toScreen_);
    if ((events & POLLOUT) != 0) drain(terminal_.number(), toShell_);
    if (!isScreenThere_) toScreen_.clear();
  }

  void heed() {
    signalfd_siginfo signal{};
    while (::read(signals_.number(), &signal, sizeof signal) == sizeof signal) {
      if (signal.ssi_signo == SIGWINCH)
        terminal_.fit(screen_);
      else if (signal.ssi_signo == SIGCHLD)
        reap();
      else
        hangUp();
    }
  }

  void reap() {
    int status = 0;
    if (waitpid(shell_, &status, WNOHANG) == shell_)
      status_ = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
  }

  /// To the shell and to what it runs in the foreground; what it keeps in the background is its own to tell.
  void send(int number) const {
    const pid_t group = tcgetpgrp(terminal_.number());
    if (group > 1) kill(-group, number);
    kill(shell_, number);
  }

  void hangUp() {
    if (hungUp_) return;
    hungUp_ = Clock::now();
    send(SIGHUP);
    send(SIGCONT);
  }

  /// After a hang-up: kills what stays, and tells when even that is of no use.
  bool isLate() {
    if (hungUp_ && Clock::now() > *hungUp_ + untilKilled) send(SIGKILL);
    return hungUp_ && Clock::now() > *hungUp_ + untilLeft;
  }

  const Clock::time_point begun_ = Clock::now();
  Descriptor signals_;  // taken before the first can come
  Screen screen_;
  Terminal terminal_;
  Descriptor input_;
  pid_t shell_ = -1;
  std::string toShell_, toScreen_, typed_;
  bool isReady_ = false;
  bool isScreenThere_ = true;
  bool isShellThere_ = true;
  std::optional<Clock::time_point> hungUp_;
  std::optional<int> status_;
};

/// The session's directory goes with the session, also when it never began.
class Stay {
 public:
  explicit Stay(fs::path directory) : directory_(std::move(directory)) {}
  ~Stay() {
    std::error_code ignored;
    fs::remove_all(directory_, ignored);
  }
  Stay(const Stay&) = delete;
  Stay& operator=(const Stay&) = delete;

 private:
  fs::path directory_;
};

}  // namespace

int run(const fs::path& directory) {
  const auto order = TerminalSessions::order(directory);
  const Stay stay(directory);
  Host host(directory, order);
  TerminalSessions::announce(directory, host.session(order.request.application));
  return host.relay();
}

}  // namespace TerminalHost
