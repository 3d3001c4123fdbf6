#include "TavroCore/harness/Timestamps.h"

namespace Timestamps {

std::string now() { return iso8601(Dates::now()); }

std::string iso8601(Dates::Instant date) { return Dates::iso8601(date); }

std::optional<Dates::Instant> parseISO8601(std::string_view text) { return Dates::parseISO8601(text); }

}  // namespace Timestamps
