// A rule in one line for people.
#pragma once

#include <string>

#include "TavroCore/harness/PolicyRule.h"

namespace RuleText {

/// "deny note.* for the account Work where name contains "x"", harmless to show.
std::string sentence(const PolicyRule& rule);

}  // namespace RuleText
