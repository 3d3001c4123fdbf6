// A screen of the test's own: Xvfb, 1600 by 600, which DISPLAY names as long as it lives.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

class VirtualScreen {
 public:
  VirtualScreen() {
    int told[2];
    EXPECT_EQ(pipe(told), 0);
    process_ = fork();
    if (process_ == 0) become(told[1]);
    close(told[1]);
    std::string number;  // comes when the server takes connections
    for (char c; read(told[0], &c, 1) == 1 && c != '\n';) number += c;
    close(told[0]);
    EXPECT_FALSE(number.empty()) << "Xvfb didn't start; it is a package that these tests need";
    setenv("DISPLAY", (":" + number).c_str(), 1);
    unsetenv("WAYLAND_DISPLAY");
  }
  ~VirtualScreen() {
    unsetenv("DISPLAY");
    if (process_ <= 0) return;  // that would be everybody
    proceed();
    kill(process_, SIGTERM);
    waitpid(process_, nullptr, 0);
  }
  VirtualScreen(const VirtualScreen&) = delete;
  VirtualScreen& operator=(const VirtualScreen&) = delete;

  /// It takes connections and answers nothing.
  void halt() const { kill(process_, SIGSTOP); }
  void proceed() const { kill(process_, SIGCONT); }

 private:
  [[noreturn]] static void become(int told) {
    const std::string number = std::to_string(told);
    dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);  // it tells of other servers that run
    execlp("Xvfb", "Xvfb", "-displayfd", number.c_str(), "-screen", "0", "1600x600x24", "-nolisten", "tcp", "-noreset",
           nullptr);
    _exit(127);
  }

  pid_t process_ = 0;
};
