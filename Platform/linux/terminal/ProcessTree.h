// Who started whom, and what runs on a terminal, from the system's table of processes (proc(5)).
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace ProcessTree {

/// Its parent, that one's parent and so on; the first of all processes is left out.
std::vector<pid_t> ancestors(pid_t process);

/// The names of the processes in the session that `leader` leads, oldest first. Empty when it is gone.
std::vector<std::string> session(pid_t leader);

/// The name of the one that the leader's terminal is lent to now; empty when it can't be told.
std::string foreground(pid_t leader);

}  // namespace ProcessTree
