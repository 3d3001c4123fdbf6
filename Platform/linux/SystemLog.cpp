// syslog(3). Every user of the machine may read that log, so the secret never goes there.
#include "Platform/SystemLog.h"

#include <syslog.h>

#include <string>

namespace SystemLog {

namespace {

/// One line, whatever the message holds.
std::string lineOf(std::string_view subsystem, std::string_view category, std::string_view message, bool hasSecret) {
  std::string line;
  line.append("[").append(subsystem).append(":").append(category).append("] ").append(message);
  if (hasSecret) line += "<private>";
  for (char& byte : line) {
    if (static_cast<unsigned char>(byte) < ' ' || byte == '\x7f') byte = ' ';
  }
  return line;
}

void openOnce() {
  static const bool opened = (openlog("tavro", LOG_PID, LOG_USER), true);
  static_cast<void>(opened);
}

}  // namespace

void error(std::string_view subsystem, std::string_view category, std::string_view message,
           std::string_view secret) noexcept {
  try {
    openOnce();
    syslog(LOG_USER | LOG_ERR, "%s", lineOf(subsystem, category, message, !secret.empty()).c_str());
  } catch (...) {
    // Without memory for the line there is nobody left to tell.
  }
}

}  // namespace SystemLog
