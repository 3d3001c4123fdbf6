// What events and reminders have in common when they are written.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "Platform/Dates.h"
#include "Platform/linux/stores/ICalendar.h"
#include "Platform/linux/stores/ICalendarTime.h"

namespace CalendarItems {

using ICalendar::Component;

/// Throws the Error for a file that isn't as it was read.
[[noreturn]] void refuse(const std::filesystem::path& file);

std::string uidOf(const Component& item);
/// The date or time of a property; nothing where there is none, or none that can be read.
std::optional<ICalendar::Stamp> stampOf(const Component& item, const char* name);

/// Times that files can't hold are as good as the first or the last that they can.
Dates::Instant onCalendar(Dates::Instant instant);
/// "20260314T092653Z"
std::string utc(Dates::Instant instant);

/// With blanks for the characters that no calendar file may hold, NUL and its like.
std::string clean(std::string text);

/// Sets a text where it differs, clean.
void setIfOther(Component& item, const char* name, const std::optional<std::string>& text);

/// A new VEVENT or VTODO: a UID of its own, and since when it is there.
Component::Pointer make(const char* name);
/// A file around it. It has no zones yet.
ICalendar::Document document(const Component::Pointer& item);

}  // namespace CalendarItems
