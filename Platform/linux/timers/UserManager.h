// Jobs as timers of the user's systemd. Which are loaded is told by the units in $XDG_CONFIG_HOME/systemd/user.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Platform/linux/timers/JobReport.h"
#include "Platform/linux/timers/LaunchJob.h"

namespace UserManager {

/// Does a manager run that reads units from there? Asks `systemctl`, for some seconds at the most.
bool answers();

/// Throws Error with the reason; then nothing is left behind.
void load(const LaunchJob& job);
/// Stops the timer and removes it; a run in progress goes on. Works as far as it can also where no manager answers.
/// False when the job isn't loaded. Throws FileFailure.
bool unload(const std::string& label);

std::vector<JobReport> reports();
bool isLoaded(const std::string& label);

}  // namespace UserManager
