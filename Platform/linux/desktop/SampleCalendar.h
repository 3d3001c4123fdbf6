// Calendars and reminders to try the tools on, around the present day.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace SampleCalendar {

// `root` is the desktop's. A line for each thing made. They throw FileFailure.

std::vector<std::string> addEvents(const std::filesystem::path& root);
std::vector<std::string> addReminders(const std::filesystem::path& root);

}  // namespace SampleCalendar
