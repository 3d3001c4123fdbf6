// Archives mail by one of two roads: Gmail, and any account of the settings' `imapAccounts`, over IMAP; every other
// account by moving the messages to its mailbox "Archive".
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Platform/Error.h"
#include "TavroCore/harness/HarnessConfig.h"
#include "TavroCore/harness/Tool.h"

namespace MailArchiveService {

class ArchiveError : public Error {
 public:
  static ArchiveError missingCredential(const std::string& email);
  static ArchiveError osascript(const std::string& text);
  static ArchiveError imap(const std::string& text);

 private:
  using Error::Error;
};

inline constexpr const char* fallbackArchiveMailbox = "Archive";

/// The work of mail.archive. Throws Error.
std::string archive(const Arguments& args);
/// Where the account's messages would go, for a preview.
std::string destinationLabel(const std::string& account);

/// The server that archives an account of this e-mail address: of the settings, else Gmail's; for testing a login.
std::optional<IMAPArchiveAccount> imapAccountWithEmail(const std::string& email);

/// The port to dial; 0 stays 0, for which the client takes its default. Throws Error for one that is no port.
std::uint16_t imapPort(const IMAPArchiveAccount& account);

}  // namespace MailArchiveService
