// Writing into pipes whose reader may have gone. Private to Platform.
#pragma once

#include <signal.h>

#include <ctime>

/// While it lives, a write to a pipe without a reader gives EPIPE and no signal, in this thread alone.
class WithoutPipeSignal {
 public:
  WithoutPipeSignal() {
    sigemptyset(&pipeSignal_);
    sigaddset(&pipeSignal_, SIGPIPE);
    wasPending_ = isPending();
    pthread_sigmask(SIG_BLOCK, &pipeSignal_, &before_);
  }
  ~WithoutPipeSignal() {
    const timespec atOnce{};
    if (!wasPending_ && isPending()) sigtimedwait(&pipeSignal_, nullptr, &atOnce);
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }
  WithoutPipeSignal(const WithoutPipeSignal&) = delete;
  WithoutPipeSignal& operator=(const WithoutPipeSignal&) = delete;

 private:
  static bool isPending() {
    sigset_t pending;
    return sigpending(&pending) == 0 && sigismember(&pending, SIGPIPE) == 1;
  }

  sigset_t pipeSignal_;
  sigset_t before_;
  bool wasPending_ = false;
};
