// A trial login at the mail server that archives an account's mail.
#pragma once

#include <optional>
#include <string>

#include "TavroCore/harness/HarnessConfig.h"

namespace ImapLogin {

/// The account that logs in with this address. Throws CommandError where there is none.
IMAPArchiveAccount account(const std::string& email);
/// Logs in, and out again. Why it can't be done, and what mends it; nothing when it worked. Throws as `account`.
std::optional<std::string> failure(const std::string& email);

}  // namespace ImapLogin
