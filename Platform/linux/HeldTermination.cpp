#include "Platform/HeldTermination.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>

#include "Platform/posix/Descriptor.h"

namespace {

sigset_t termination() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  return signals;
}

}  // namespace

HeldTermination::HeldTermination() {
  const sigset_t held = termination();
  pthread_sigmask(SIG_BLOCK, &held, &before_);
  descriptor_ = signalfd(-1, &held, SFD_CLOEXEC);
}

HeldTermination::~HeldTermination() {
  if (descriptor_ >= 0) close(descriptor_);
  pthread_sigmask(SIG_SETMASK, &before_, nullptr);  // nobody has read the signal: it strikes now
}

bool HeldTermination::comesBefore(std::chrono::steady_clock::time_point time) const {
  using std::chrono::milliseconds;
  const auto left = std::chrono::ceil<milliseconds>(time - std::chrono::steady_clock::now()).count();
  const auto wait = static_cast<int>(std::clamp<decltype(left)>(left, 0, 1'000'000'000));
  pollfd asked{descriptor_, POLLIN, 0};
  return uninterrupted([&] { return poll(&asked, 1, wait); }) > 0;
}
