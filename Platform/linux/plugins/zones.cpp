// The system's time zones by libical, which reads them from the zone files and writes them as VTIMEZONE, as the
// module Contents/PlugIns/zones.so.
#include <libical/ical.h>

#include <cstdlib>
#include <string>

#include "Platform/linux/PlugIn.h"

namespace {

void shorten(icalcomponent* definition) {
  // What clocks did before this only swells a file.
  icaltimezone_truncate_vtimezone(definition, icaltime_from_string("19700101T000000Z"), icaltime_null_time(), 0);
}

std::string written(icalcomponent* definition, const std::string& id) {
  auto* old = icalcomponent_get_first_property(definition, ICAL_TZID_PROPERTY);
  if (old != nullptr) icalproperty_set_tzid(old, id.c_str());
  char* text = icalcomponent_as_ical_string_r(definition);
  std::string result = text == nullptr ? "" : text;
  std::free(text);
  return result;
}

}  // namespace

/// The VTIMEZONE of the zone `name` under the TZID `id`, empty where there is none; `isShort` is without what was
/// before 1970.
TAVRO_PLUG_IN std::string* systemZoneDefinition(const std::string& name, const std::string& id, bool isShort) {
  icalerror_set_errors_are_fatal(0);
  icaltimezone* zone = icaltimezone_get_builtin_timezone(name.c_str());
  icalcomponent* known = zone == nullptr ? nullptr : icaltimezone_get_component(zone);
  if (known == nullptr) return new std::string();
  icalcomponent* definition = icalcomponent_new_clone(known);
  if (isShort) shorten(definition);
  auto* text = new std::string(written(definition, id));
  icalcomponent_free(definition);
  return text;
}
