// Starts a job as a child in a session of its own, with no descriptors of ours, default signals, and the variables that
// are given, no others.
#pragma once

#include <sys/types.h>

#include <functional>

#include "Platform/linux/timers/JobEnvironment.h"
#include "Platform/linux/timers/LaunchJob.h"

namespace JobStart {

/// The child calls `record` in the moment before it becomes the program, so whatever kills us, a run that is written
/// down is a run that takes place, and the other way about. Locks of ours stay held until then. What keeps the program
/// from starting is told in the job's errors, and ends the child with 127. Returns when the program runs; throws Error
/// when there can be no child. Not for several threads.
pid_t start(const LaunchJob& job, const JobEnvironment::Variables& variables, const std::function<void()>& record);

}  // namespace JobStart
