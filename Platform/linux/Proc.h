// What the kernel tells in /proc (proc(5)) of all processes and of its own start.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace Proc {

struct Entry {
  pid_t process = 0;
  std::string name;  // of its program, UTF-8
  char state = 0;
  pid_t parent = 0;
  pid_t group = 0;
  pid_t session = 0;
  pid_t foreground = 0;          // the group that its terminal is lent to
  unsigned long long start = 0;  // in clock ticks since the computer's start

  /// Has ended, and waits for its parent to ask how.
  bool isDead() const { return state == 'Z' || state == 'X'; }
};

/// Nothing where there is none of this id, or no /proc.
std::optional<Entry> entry(pid_t process);
std::vector<Entry> all();

/// Another one for each start of the computer; empty where there is no /proc.
std::string bootId();

}  // namespace Proc
