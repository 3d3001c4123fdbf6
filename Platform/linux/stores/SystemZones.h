// The system's time zones as calendar files tell them. libical knows them; it lies in the module "zones"
// (plugins/zones.cpp), because it brings large libraries along and only calendars with zones need it.
#pragma once

#include <optional>
#include <string>

namespace SystemZones {

/// All that is known, or only what has counted since 1970, to be put into a file.
enum class Extent { whole, since1970 };

/// The VTIMEZONE of "Europe/Berlin" under the TZID `id`, or of the zone that an id like
/// "/mozilla.org/20071231_1/Europe/Berlin" ends in. Nothing where the system knows no such zone.
std::optional<std::string> definition(const std::string& id, Extent extent);

/// The name of the zone that the owner's clock goes by, "Europe/Berlin"; nothing where it has none that the system
/// knows.
std::optional<std::string> local();

}  // namespace SystemZones
