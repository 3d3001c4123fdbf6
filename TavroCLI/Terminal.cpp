// Where text meets the descriptors. Nothing else in this folder writes.
#include "TavroCLI/Terminal.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "Platform/Environment.h"
#include "Platform/Text.h"
#include "TavroCLI/Display.h"
#include "TavroCLI/ExitStatus.h"

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
    const int descriptor = terminal_ >= 0 ? terminal_ : STDIN_FILENO;
    std::string line;
    for (char byte = 0; byte != '\n';) {
      const ssize_t count = ::read(descriptor, &byte, 1);
      if (count < 0 && errno == EINTR) continue;
      if (count <= 0) return {};  // an answer that was never finished is none
      if (byte != '\n' && line.size() < 100) line += byte;
    }
    return line;
  }

 private:
  int terminal_;
};

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

void say(std::string_view text) { writeAll(STDERR_FILENO, Display::harmlessLines(text) + "\n"); }

bool canAsk() { return Conversation().possible(); }

bool ask(std::string_view matter, std::string_view question) {
  const Conversation conversation;
  conversation.write(Display::harmlessLines(matter));
  conversation.write(Display::harmless(question) + " [y/N] ");
  const std::string answer = Text::lowercase(Text::trim(conversation.readLine()));
  return answer == "y" || answer == "yes";
}

}  // namespace Terminal
