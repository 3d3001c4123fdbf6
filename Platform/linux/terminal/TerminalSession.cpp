#include "Platform/linux/terminal/TerminalSession.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <optional>
#include <system_error>
#include <thread>

#include "Platform/Bundle.h"
#include "Platform/Desktop.h"
#include "Platform/Files.h"
#include "Platform/Json.h"
#include "Platform/Process.h"
#include "Platform/Text.h"
#include "Platform/Uuid.h"
#include "Platform/linux/terminal/ProcessTree.h"
#include "Platform/linux/terminal/TerminalEmulator.h"
#include "Platform/posix/Descriptor.h"
#include "Platform/posix/PipeSignal.h"

extern char** environ;

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

namespace TerminalSessions {

namespace {

constexpr auto opening = std::chrono::seconds(10);
constexpr auto ending = std::chrono::seconds(6);  // longer than TerminalHost gives a shell
constexpr auto killing = std::chrono::seconds(2);
constexpr auto taking = std::chrono::seconds(10);

fs::path root() { return Desktop::root() / "terminals"; }
fs::path directoryOf(const TerminalSession& session) { return root() / session.id; }

bool comesTrue(const std::function<bool()>& condition, Clock::duration within) {
  for (const auto end = Clock::now() + within; Clock::now() < end;) {
    if (condition()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return condition();
}

// ---- The files

/// Only such names are ours to look into and to remove.
bool isId(std::string_view name) {
  constexpr std::string_view form = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
  return std::ranges::equal(name, form, [](char given, char expected) {
    return expected == 'x' ? (given >= '0' && given <= '9') || (given >= 'A' && given <= 'F') : given == expected;
  });
}

template <class Value>
Value field(const Json& object, const char* name) {
  const auto found = object.find(name);
  if constexpr (std::is_same_v<Value, std::string>)
    return found != object.end() && found->is_string() ? found->get<std::string>() : "";
  else
    return found != object.end() && found->is_number_integer() ? found->get<Value>() : Value();
}

std::optional<Json> object(const fs::path& file) {
  return JsonText::parseObject(Files::readIfPossible(file).value_or(""));
}

std::optional<TerminalSession> told(const fs::path& directory) {
  const auto text = object(directory / "session.json");
  if (!text) return std::nullopt;
  return TerminalSession{.id = directory.filename().string(),
                         .application = field<std::string>(*text, "application"),
                         .process = field<pid_t>(*text, "process"),
                         .identity = field<std::string>(*text, "identity"),
                         .shell = field<pid_t>(*text, "shell"),
                         .tty = field<std::string>(*text, "tty"),
                         .window = field<std::uint32_t>(*text, "window")};
}

bool lives(const TerminalSession& session) { return Process::isAlive({session.process, session.identity}); }

void discard(const fs::path& directory) {
  try {
    Files::remove(directory);
  } catch (const FileFailure&) {  // another script discards it as well
  }
}

fs::file_time_type lastChange(const fs::path& path) {
  std::error_code failure;
  const auto time = fs::last_write_time(path, failure);
  return failure ? fs::file_time_type::min() : time;
}

/// It may be one that is just being opened.
bool isAbandoned(const fs::path& directory) {
  return lastChange(directory) < fs::file_time_type::clock::now() - 2 * opening;
}

std::optional<TerminalSession> living(const fs::path& directory) {
  auto session = told(directory);
  if (session && lives(*session)) return session;
  if (session || isAbandoned(directory)) discard(directory);
  return std::nullopt;
}

fs::path prepared(const Request& request, const std::string& id) {
  const auto directory = root() / id;
  Files::createDirectories(directory);
  const Json variables(ownVariables());
  const Json text = {{"application", request.application}, {"command", request.command}, {"variables", variables}};
  Files::replace(directory / "request.json", JsonText::writePretty(text) + "\n");
  std::error_code failure;
  const auto link = directory / request.application;
  fs::create_symlink(Bundle::url() / "Contents/Desktop/terminal", link, failure);
  if (failure) throw FileFailure("make", link, failure.value());
  return directory;
}

// ---- The pipe

/// False when nobody takes it in time.
bool write(const Descriptor& pipe, std::string_view text) {
  const WithoutPipeSignal guard;
  for (const auto end = Clock::now() + taking; !text.empty();) {
    const auto written = ::write(pipe.number(), text.data(), text.size());
    if (written > 0) text.remove_prefix(static_cast<std::size_t>(written));
    if (written < 0 && errno != EAGAIN && errno != EINTR) return false;
    if (Clock::now() > end) return false;
    pollfd space{pipe.number(), POLLOUT, 0};
    if (!text.empty()) ::poll(&space, 1, 100);
  }
  return true;
}

void signalTo(const TerminalSession& session, int number) {
  if (lives(session)) ::kill(session.process, number);
}

}  // namespace

// ---- Sessions

std::vector<TerminalSession> all(std::string_view application) {
  std::vector<std::pair<fs::file_time_type, TerminalSession>> found;
  for (const auto& name : Files::listIfPossible(root())) {
    if (!isId(name)) continue;
    auto session = living(root() / name);
    if (!session || session->application != application) continue;
    found.emplace_back(lastChange(root() / name / "session.json"), std::move(*session));
  }
  std::ranges::sort(found, [](const auto& a, const auto& b) { return a.first > b.first; });
  std::vector<TerminalSession> sessions;
  for (auto& [time, session] : found) sessions.push_back(std::move(session));
  return sessions;
}

bool isThere(const TerminalSession& session) { return living(directoryOf(session)).has_value(); }

TerminalSession open(const Request& request) {
  const auto directory = prepared(request, Uuid::random());
  try {
    TerminalEmulator::open(directory / request.application);
    std::optional<TerminalSession> session;
    if (comesTrue([&] { return (session = told(directory)) && lives(*session); }, opening)) return *session;
  } catch (const Error&) {
    discard(directory);
    throw;
  }
  discard(directory);  // a window that comes up later finds nothing to do and goes
  throw Error("The terminal emulator opened no window in time.");
}

void type(const TerminalSession& session, std::string_view text) {
  const Descriptor pipe(::open(inputPipe(directoryOf(session)).c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC));
  if (!pipe.isOpen() || !isThere(session)) throw Error("The session has ended.");
  if (!write(pipe, text)) throw Error("The session takes no text.");
}

bool close(const TerminalSession& session) {
  if (!lives(session)) return false;
  const auto isGone = [&] { return !lives(session); };
  signalTo(session, SIGHUP);
  signalTo(session, SIGCONT);
  if (!comesTrue(isGone, ending)) {
    signalTo(session, SIGKILL);  // the end of its terminal ends the shell
    comesTrue(isGone, killing);
  }
  discard(directoryOf(session));
  return true;
}

void bringToFront(const TerminalSession& session) {
  std::error_code ignored;
  fs::last_write_time(directoryOf(session) / "session.json", fs::file_time_type::clock::now(), ignored);
  WindowPlacement::raise(window(session));
}

WindowPlacement::Window window(const TerminalSession& session) {
  return {.number = session.window, .processes = ProcessTree::ancestors(session.process)};
}

// ---- The directory

std::map<std::string, std::string> ownVariables() {
  std::map<std::string, std::string> found;
  for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
    const std::string text = *entry;
    const auto sign = text.find('=');
    if ((text.starts_with("TAVRO_") || text.starts_with("VENDRY_")) && sign != std::string::npos)
      found[text.substr(0, sign)] = text.substr(sign + 1);
  }
  return found;
}

Order order(const fs::path& directory) {
  const auto text = object(directory / "request.json");
  if (!text || !isId(directory.filename().string()) || !Files::remove(directory / "request.json"))
    throw Error("nobody waits for this window any more");
  Order found{.request = {.application = field<std::string>(*text, "application"),
                          .command = field<std::string>(*text, "command")},
              .variables = {}};
  if (const auto variables = text->find("variables"); variables != text->end() && variables->is_object())
    for (const auto& [name, value] : variables->items())
      if (value.is_string()) found.variables[name] = value.get<std::string>();
  return found;
}

void announce(const fs::path& directory, const TerminalSession& session) {
  const Json text = {{"application", session.application},
                     {"process", session.process},
                     {"identity", session.identity},
                     {"shell", session.shell},
                     {"tty", session.tty},
                     {"window", session.window}};
  Files::replace(directory / "session.json", JsonText::writePretty(text) + "\n");
}

fs::path inputPipe(const fs::path& directory) { return directory / "input"; }

}  // namespace TerminalSessions
