#include "Platform/linux/apps/Presenter.h"

#include <dbus/dbus.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>

#include "Platform/Environment.h"
#include "Platform/Files.h"
#include "Platform/Process.h"
#include "Platform/Text.h"
#include "Platform/linux/applescript/Value.h"

namespace fs = std::filesystem;

namespace {

// A file manager that has to be started first takes a moment; one that hangs must not hang the script.
constexpr int greetingMilliseconds = 2'000;
constexpr int showingMilliseconds = 10'000;

struct Close {
  void operator()(DBusConnection* connection) const {
    dbus_connection_close(connection);
    dbus_connection_unref(connection);
  }
  void operator()(DBusMessage* message) const { dbus_message_unref(message); }
};
using Connection = std::unique_ptr<DBusConnection, Close>;
using Message = std::unique_ptr<DBusMessage, Close>;

/// Where the bus is. libdbus would go on to start one of its own, which nobody's file manager is on.
std::optional<std::string> sessionBusAddress() {
  if (auto address = Environment::value("DBUS_SESSION_BUS_ADDRESS")) return address;
  const auto directory = Environment::value("XDG_RUNTIME_DIR");
  if (!directory || !Files::exists(fs::path(*directory) / "bus")) return std::nullopt;
  const std::unique_ptr<char, void (*)(void*)> escaped(dbus_address_escape_value((*directory + "/bus").c_str()),
                                                       dbus_free);
  return std::string("unix:path=") + escaped.get();
}

/// The answer to `message`; null for an error and for none in time.
Message ask(DBusConnection* connection, const Message& message, int milliseconds) {
  return Message(dbus_connection_send_with_reply_and_block(connection, message.get(), milliseconds, nullptr));
}

/// dbus_bus_get waits for the bus as long as it likes, so the greeting is ours.
Connection connect(const std::string& address) {
  Connection connection(dbus_connection_open_private(address.c_str(), nullptr));
  if (!connection) return nullptr;
  const Message hello(dbus_message_new_method_call(DBUS_SERVICE_DBUS, DBUS_PATH_DBUS, DBUS_INTERFACE_DBUS, "Hello"));
  const auto reply = ask(connection.get(), hello, greetingMilliseconds);
  return reply ? std::move(connection) : nullptr;
}

bool isPlainInUri(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         std::string_view("/-._~").find(c) != std::string_view::npos;
}

bool fileManagerShows(const std::vector<fs::path>& files) {
  const auto address = sessionBusAddress();
  const auto connection = address ? connect(*address) : nullptr;
  if (!connection) return false;
  const Message message(dbus_message_new_method_call("org.freedesktop.FileManager1", "/org/freedesktop/FileManager1",
                                                     "org.freedesktop.FileManager1", "ShowItems"));
  std::vector<std::string> uris(files.size());
  std::transform(files.begin(), files.end(), uris.begin(), Presenter::uri);
  std::vector<const char*> texts(uris.size());
  std::transform(uris.begin(), uris.end(), texts.begin(), [](const auto& text) { return text.c_str(); });
  const char** items = texts.data();
  const char* startupId = "";
  dbus_message_append_args(message.get(), DBUS_TYPE_ARRAY, DBUS_TYPE_STRING, &items, static_cast<int>(texts.size()),
                           DBUS_TYPE_STRING, &startupId, DBUS_TYPE_INVALID);
  return ask(connection.get(), message, showingMilliseconds) != nullptr;
}

std::optional<fs::path> opener() {
  for (const auto& directory :
       Text::split(Environment::value("PATH").value_or("/usr/local/bin:/usr/bin:/bin"), ':', true))
    if (const auto program = fs::path(directory) / "xdg-open"; ::access(program.c_str(), X_OK) == 0) return program;
  return std::nullopt;
}

}  // namespace

void Presenter::reveal(const std::vector<fs::path>& files) {
  if (files.empty() || fileManagerShows(files)) return;
  open(Files::isDirectory(files.front()) ? files.front() : files.front().parent_path());
}

void Presenter::open(const fs::path& file) {
  const auto refuse = [&](const std::string& reason) -> void {
    throw AppleScript::ScriptError(AppleScript::ErrorNumber::handlerFailed,
                                   "Can’t show " + file.string() + ": " + reason);
  };
  const auto program = opener();
  if (!program) refuse("xdg-open (of xdg-utils) isn’t installed.");
  if (!Environment::value("DISPLAY") && !Environment::value("WAYLAND_DISPLAY"))
    refuse("there is no graphical session (DISPLAY and WAYLAND_DISPLAY are not set).");
  Process::detach({.program = *program, .arguments = {fs::absolute(file).string()}});
}

std::string Presenter::uri(const fs::path& file) {
  constexpr char digits[] = "0123456789ABCDEF";
  std::string result = "file://";
  for (const char c : fs::absolute(file).string()) {
    const auto byte = static_cast<unsigned char>(c);
    result += isPlainInUri(c) ? std::string(1, c) : std::string{'%', digits[byte >> 4], digits[byte & 15]};
  }
  return result;
}
