// Why the gate decided as it did, in words: the audit keeps the short forms of ActionPolicy.
#pragma once

#include <string>

namespace Reasons {

/// "rule_ask:1A2B3C4D" as "rule 1A2B3C4D: ask mail.send", with the rule as it is now. A reason that we don't know comes
/// back as it is.
std::string told(const std::string& reason);

}  // namespace Reasons
