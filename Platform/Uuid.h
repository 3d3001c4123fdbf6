// Random UUIDs (RFC 9562, version 4).
#pragma once

#include <string>

namespace Uuid {

/// The canonical text in upper case, "3F2504E0-4F89-41D3-9A0C-0305E82C3301".
std::string random();
/// The first 8 characters of a fresh one: the id of queued actions and feedback items.
std::string shortId();

}  // namespace Uuid
