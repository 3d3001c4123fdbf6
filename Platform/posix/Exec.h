// What a forked child needs before it becomes another program. Private to Platform.
#pragma once

#include <signal.h>

#include <string>
#include <vector>

/// The null-terminated list that the kernel takes; it points into the texts.
inline std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

/// None ignored, none blocked. Allocates nothing.
inline void resetSignals() {
  for (int number = 1; number < NSIG; ++number) signal(number, SIG_DFL);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
}
