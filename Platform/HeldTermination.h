// Time to tidy up for a program that is asked to end (SIGTERM): as long as one of these lives, the signal doesn't end
// us but waits. With the object's end it does its work, and whoever waits for us sees that it was the signal.
//
// It is held in the thread that makes it; a program of several threads makes it first.
#pragma once

#include <signal.h>

#include <chrono>

class HeldTermination {
 public:
  HeldTermination();
  ~HeldTermination();
  HeldTermination(const HeldTermination&) = delete;
  HeldTermination& operator=(const HeldTermination&) = delete;

  /// Sleeps until then. True at once when we have been asked to end.
  bool comesBefore(std::chrono::steady_clock::time_point time) const;

 private:
  sigset_t before_;
  int descriptor_;
};
