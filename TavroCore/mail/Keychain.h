// The passwords of the mail servers, kept in the person's keychain and out of the settings: one item for each IMAP
// e-mail address.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Platform/Error.h"

namespace Keychain {

inline constexpr const char* service = "app.tavro.core.imap";

/// "keychain error <status>: <the system's words, or unknown>".
class KeychainError : public Error {
 public:
  static KeychainError unexpectedStatus(std::int32_t status);

 private:
  using Error::Error;
};

/// Replaces what the account has; when the new one can't be stored the old one is gone too, unless it can't be removed.
/// Throws KeychainError.
void setPassword(const std::string& password, const std::string& account);
/// Nothing when there is none, when it can't be had without the person (a locked keychain), or when it isn't UTF-8.
std::optional<std::string> password(const std::string& account);
bool hasPassword(const std::string& account);
/// One that isn't there is no error.
void deletePassword(const std::string& account);

}  // namespace Keychain
