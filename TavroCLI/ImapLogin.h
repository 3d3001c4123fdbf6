// A trial login at the mail server that archives an account's mail.
#pragma once

#include <optional>
#include <string>

namespace ImapLogin {

/// The name of the account's server. Throws CommandError where no account logs in with this address.
std::string server(const std::string& email);
/// Logs in, and out again. Why it can't be done, and what mends it; nothing when it worked. Throws as `server`.
std::optional<std::string> failure(const std::string& email);

}  // namespace ImapLogin
