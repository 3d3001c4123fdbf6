// The dates of header lines. Private to the Mime sources.
#pragma once

#include <optional>
#include <string_view>

#include "Platform/Dates.h"

namespace Mime {

/// A date as mail programs write it: RFC 5322 with its obsolete zones and years of two digits, and the forms of
/// asctime and ISO 8601. Without a time it is midnight, without a known zone UTC. Nothing for any other text.
std::optional<Dates::Instant> date(std::string_view text);

}  // namespace Mime
