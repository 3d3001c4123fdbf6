// The service and the timer that systemd (systemd.service(5), systemd.timer(5)) runs a job by. Nothing in a job's texts
// is expanded: quotes, backslashes, blanks, "%" and "$" reach the program as they are.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/linux/timers/LaunchJob.h"

namespace SystemdUnits {

/// The service's text. Its first line is a comment that holds the job, for `jobOf`. A process that the job leaves
/// behind outlives the service. Throws Error with the reason for what a unit can't hold.
std::string service(const LaunchJob& job);
/// The timer's text; empty for a job that no time starts.
std::string timer(const LaunchJob& job);

/// The job of a service that we wrote; nothing for any other text.
std::optional<LaunchJob> jobOf(std::string_view service);

}  // namespace SystemdUnits
