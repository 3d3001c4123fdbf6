// Where text meets the descriptors. Nothing else in this folder writes.
#include "TavroCLI/Terminal.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>

#include "Platform/Environment.h"
#include "Platform/Text.h"
#include "TavroCLI/Display.h"
#include "TavroCLI/Usage.h"

namespace {

/// 0, or the errno of the write that failed.
int writeAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
    if (written < 0 && errno != EINTR) return errno;
    if (written > 0) bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return 0;
}

/// The two ends of a conversation: the controlling terminal, or else standard input with standard error.
class Conversation {
 public:
  Conversation() : terminal_(::open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC)) {}
  ~Conversation() {
    if (terminal_ >= 0) ::close(terminal_);
  }
  Conversation(const Conversation&) = delete;
  Conversation& operator=(const Conversation&) = delete;

  int input() const { return terminal_ >= 0 ? terminal_ : STDIN_FILENO; }
  bool possible() const { return terminal_ >= 0 || ::isatty(STDIN_FILENO) != 0; }
  void write(std::string_view text) const { writeAll(terminal_ >= 0 ? terminal_ : STDERR_FILENO, text); }
  std::size_t columns() const {
    winsize size{};
    for (const int descriptor : {terminal_, STDOUT_FILENO, STDERR_FILENO}) {
      if (::ioctl(descriptor, TIOCGWINSZ, &size) == 0) return size.ws_col > 0 ? size.ws_col : 80;
    }
    return 0;
  }
  /// A line without its break; what comes after the first hundred bytes is dropped.
  std::string readLine() const {
    std::string line;
    for (char byte = 0; byte != '\n';) {
      const ssize_t count = ::read(input(), &byte, 1);
      if (count < 0 && errno == EINTR) continue;
      if (count <= 0) return {};  // an answer that was never finished is none
      if (byte != '\n' && line.size() < 100) line += byte;
    }
    return line;
  }

 private:
  int terminal_;
};

/// While it lives, what is typed isn't shown. Signals that would leave the terminal so come through only while a
/// line is waited for, and end the waiting; what they ask for is left to the caller, once this is gone.
class HiddenTyping {
 public:
  explicit HiddenTyping(int terminal) : terminal_(terminal) {
    sigset_t held;
    sigemptyset(&held);
    for (const int signal : signals) sigaddset(&held, signal);
    ::sigprocmask(SIG_BLOCK, &held, &maskBefore_);
    struct sigaction catching {};
    catching.sa_handler = [](int signal) { caught_ = signal; };
    for (std::size_t i = 0; i < signals.size(); ++i) ::sigaction(signals[i], &catching, &actionsBefore_[i]);
    caught_ = 0;
    if (::tcgetattr(terminal_, &modesBefore_) != 0) return;
    termios hidden = modesBefore_;
    hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    hidden.c_lflag |= ECHONL;
    changed_ = ::tcsetattr(terminal_, TCSAFLUSH, &hidden) == 0;
  }
  ~HiddenTyping() {
    if (changed_) ::tcsetattr(terminal_, TCSAFLUSH, &modesBefore_);
    for (std::size_t i = 0; i < signals.size(); ++i) ::sigaction(signals[i], &actionsBefore_[i], nullptr);
    ::sigprocmask(SIG_SETMASK, &maskBefore_, nullptr);
  }
  HiddenTyping(const HiddenTyping&) = delete;
  HiddenTyping& operator=(const HiddenTyping&) = delete;

  /// The signal that broke the last one off; 0 when none did.
  static int caught() { return caught_; }

  std::optional<std::string> readLine() const {
    std::string line;
    for (char byte = 0; waitForInput() && ::read(terminal_, &byte, 1) == 1; line += byte)
      if (byte == '\n') return line;
    return std::nullopt;
  }

 private:
  bool waitForInput() const {
    fd_set inputs;
    FD_ZERO(&inputs);
    FD_SET(terminal_, &inputs);
    return ::pselect(terminal_ + 1, &inputs, nullptr, nullptr, nullptr, &maskBefore_) == 1;
  }

  static constexpr std::array signals = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP};
  static volatile std::sig_atomic_t caught_;

  int terminal_;
  bool changed_ = false;
  termios modesBefore_{};
  sigset_t maskBefore_{};
  std::array<struct sigaction, signals.size()> actionsBefore_{};
};

volatile std::sig_atomic_t HiddenTyping::caught_ = 0;

/// Some bytes of standard input, 0 at its end.
std::size_t readInput(char* buffer, std::size_t size) {
  for (;;) {
    const ssize_t count = ::read(STDIN_FILENO, buffer, size);
    if (count >= 0) return static_cast<std::size_t>(count);
    if (errno == EINTR) continue;
    throw CommandError(ExitStatus::failed, std::string("could not read standard input: ") + std::strerror(errno));
  }
}

bool wantsColour() {
  return Terminal::outputIsTerminal() && !Environment::value("NO_COLOR") && Environment::value("TERM") != "dumb";
}

}  // namespace

namespace Terminal {

bool outputIsTerminal() { return ::isatty(STDOUT_FILENO) != 0; }

std::string styled(std::string_view text, Style style) {
  static const bool colour = wantsColour();
  static constexpr std::array<const char*, 6> codes = {"", "1", "2", "31", "32", "33"};
  if (!colour || style == Style::plain) return std::string(text);
  return "\033[" + std::string(codes[static_cast<std::size_t>(style)]) + "m" + std::string(text) + "\033[0m";
}

std::size_t columns() { return Conversation().columns(); }

void print(std::string_view text) {
  const int failure = writeAll(STDOUT_FILENO, text);
  if (failure == 0 || failure == EPIPE) return;
  throw CommandError(ExitStatus::failed, std::string("could not write the output: ") + std::strerror(failure));
}

void printForeign(std::string_view text) {
  print(outputIsTerminal() ? Display::harmlessLines(text) : std::string(text));
  if (!text.ends_with('\n')) print("\n");
}

bool readerLeaves(std::chrono::milliseconds within) {
  pollfd output{.fd = STDOUT_FILENO, .events = 0, .revents = 0};  // that it broke is told without being asked
  return ::poll(&output, 1, static_cast<int>(within.count())) == 1;
}

void say(std::string_view text) { writeAll(STDERR_FILENO, Display::harmlessLines(text) + "\n"); }

Progress::Progress(std::string_view doing) {
  if (::isatty(STDERR_FILENO) == 0) return;
  const std::string text = Display::harmless(doing) + "…";
  width_ = Display::width(text);
  writeAll(STDERR_FILENO, text);
}

/// With blanks, which every terminal knows.
Progress::~Progress() {
  if (width_ > 0) writeAll(STDERR_FILENO, "\r" + std::string(width_, ' ') + "\r");
}

bool canAsk() { return Conversation().possible(); }

std::string askLine(std::string_view matter, std::string_view question) {
  const Conversation conversation;
  conversation.write(Display::harmlessLines(matter));
  conversation.write(Display::harmless(question) + " ");
  return std::string(Text::trim(conversation.readLine()));
}

bool ask(std::string_view matter, std::string_view question) {
  const std::string answer = Text::lowercase(askLine(matter, std::string(question) + " [y/N]"));
  return answer == "y" || answer == "yes";
}

std::optional<std::string> askHidden(std::string_view question) {
  const Conversation conversation;
  for (;;) {
    std::optional<std::string> line;
    {
      const HiddenTyping hidden(conversation.input());
      conversation.write(Display::harmless(question) + " ");
      line = hidden.readLine();
    }
    if (!line) conversation.write("\n");
    if (HiddenTyping::caught() == 0) return line;
    std::raise(HiddenTyping::caught());  // ends us, or stops us until the person is back and asked anew
  }
}

bool inputIsTerminal() { return ::isatty(STDIN_FILENO) != 0; }

std::string wholeInput() {
  std::string text;
  std::array<char, 65536> buffer{};
  while (const std::size_t count = readInput(buffer.data(), buffer.size())) text.append(buffer.data(), count);
  return text;
}

std::string firstLineOfInput(std::size_t limit) {
  std::string line;
  for (char byte = 0;;) {
    if (readInput(&byte, 1) == 0) return line;
    if (byte == '\n') break;
    line += byte;
    if (line.size() > limit + 1)
      Usage::wrong("standard input's first line is longer than the " + std::to_string(limit) + " bytes it may have");
  }
  if (line.ends_with('\r')) line.pop_back();
  return line;
}

}  // namespace Terminal
