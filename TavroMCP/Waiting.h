// Reads and writes that wait for the other end. A handle that was set to not wait answers EAGAIN instead, and the
// setting isn't ours to change: it belongs to the pipe or terminal itself, whoever else holds it.
#pragma once

#include <poll.h>
#include <sys/types.h>

#include <cerrno>

/// What `transfer`, a read or a write of `handle`, gives once it has done something or can't any more. `event` is
/// POLLIN or POLLOUT.
template <typename Transfer>
ssize_t waiting(int handle, short event, const Transfer& transfer) {
  for (;;) {
    const ssize_t count = transfer();
    if (count >= 0 || (errno != EAGAIN && errno != EINTR)) return count;
    pollfd ready{handle, event, 0};
    if (errno == EAGAIN) poll(&ready, 1, -1);
  }
}
