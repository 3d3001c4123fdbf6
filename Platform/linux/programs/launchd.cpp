// launchd: starts the desktop's timed jobs when they are due, where no systemd does. One for each desktop; launchctl
// starts it when it is needed and none runs. It ends by SIGTERM, or with the desktop's directory.
#include <iostream>

#include "Platform/linux/timers/LaunchDaemon.h"

int main(int count, char**) try {
  if (count > 1) {
    std::cerr << "usage: launchd\n";
    return 2;
  }
  LaunchDaemon launchd;
  if (launchd.isTheOnlyOne()) launchd.run();
  return 0;
} catch (const Error& error) {
  std::cerr << "launchd: " << error.description() << "\n";
  return 1;
}
