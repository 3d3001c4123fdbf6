// A session bus with a file manager on it, as far as one call needs them: it
// lets the caller in, answers the greeting, and keeps or answers what follows.
#pragma once

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <thread>

class SessionBus {
 public:
  /// Without a file manager, the bus hangs up at the call for one.
  SessionBus(const std::filesystem::path& socketFile, bool hasFileManager)
      : hasFileManager_(hasFileManager), listener_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address = {.sun_family = AF_UNIX, .sun_path = {}};
    std::strncpy(address.sun_path, socketFile.c_str(), sizeof address.sun_path - 1);
    ::bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address);
    ::listen(listener_, 1);
    ::setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + socketFile.string()).c_str(), 1);
    thread_ = std::thread([this] { serve(::accept(listener_, nullptr, nullptr)); });
  }
  /// The call that came for the file manager, its bytes.
  std::string call() {
    if (thread_.joinable()) thread_.join();
    return call_;
  }
  ~SessionBus() {
    ::shutdown(listener_, SHUT_RDWR);
    call();
    ::close(listener_);
    ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
  }

 private:
  void serve(int client) {
    if (client < 0) return;
    letIn(client);
    reply(client, message(client));  // Hello
    call_ = message(client);
    if (hasFileManager_) reply(client, call_);
    ::close(client);
  }

  static std::string line(int client) {
    std::string text;
    for (char c = 0; c != '\n' && ::read(client, &c, 1) == 1;) text.append(c ? 1 : 0, c);
    return text;
  }
  static void letIn(int client) {
    for (auto text = line(client); !text.empty() && text != "BEGIN\r\n"; text = line(client)) {
      const bool isGreeting = text.starts_with("AUTH EXTERNAL ");
      send(client, isGreeting ? "OK 0123456789abcdef0123456789abcdef\r\n" : "ERROR\r\n");
    }
  }

  static std::uint32_t number(const std::string& bytes, std::size_t at) {
    std::uint32_t value = 0;
    std::memcpy(&value, bytes.data() + at, sizeof value);
    return value;
  }
  static std::string take(int client, std::size_t size) {
    std::string bytes(size, '\0');
    std::size_t at = 0;
    for (ssize_t count = 1; at < size && count > 0; at += static_cast<std::size_t>(count))
      count = std::max<ssize_t>(::read(client, bytes.data() + at, size - at), 0);
    return bytes;
  }
  static std::string message(int client) {
    auto bytes = take(client, 16);
    return bytes + take(client, (number(bytes, 12) + 7) / 8 * 8 + number(bytes, 4));
  }
  static void reply(int client, const std::string& message) {
    std::string bytes("l\2\1\1\0\0\0\0\1\0\0\0\10\0\0\0\5\1u\0", 20);  // a method return, its one field the serial
    send(client, bytes + message.substr(8, 4));
  }
  static void send(int client, const std::string& bytes) { ::send(client, bytes.data(), bytes.size(), MSG_NOSIGNAL); }

  bool hasFileManager_;
  int listener_;
  std::string call_;
  std::thread thread_;
};
