#include "TavroCLI/ImapLogin.h"

#include "TavroCLI/ExitStatus.h"
#include "TavroCore/harness/ConfigDir.h"
#include "TavroCore/mail/IMAPClient.h"
#include "TavroCore/mail/Keychain.h"
#include "TavroCore/mail/MailArchiveService.h"

namespace {

std::string advice(const IMAPClient::IMAPError& failure, const std::string& email) {
  if (failure.kind() != IMAPClient::IMAPError::Case::server) return "";
  return "\nIf the password is another one by now, `tavro imap password " + email + "` replaces it.";
}

}  // namespace

IMAPArchiveAccount ImapLogin::account(const std::string& email) {
  if (auto account = MailArchiveService::imapAccountWithEmail(email)) return *account;
  throw CommandError(ExitStatus::failed, "no account logs in as " + email + "; name it in imapAccounts of " +
                                             (ConfigDir::url() / "config.json").string() +
                                             R"(, as {"mailAccountName": "Work", "email": ")" + email +
                                             R"(", "host": "imap.example.org", "port": 993})");
}

std::optional<std::string> ImapLogin::failure(const std::string& email) {
  const auto account = ImapLogin::account(email);
  const auto port = MailArchiveService::imapPort(account);
  const auto password = Keychain::password(account.email);
  if (!password) {
    return "the keychain has no password for " + email + ", or is locked; `tavro imap password " + email +
           "` keeps one";
  }
  try {
    IMAPClient::verifyLogin(account.host, port, account.email, *password);
    return std::nullopt;
  } catch (const IMAPClient::IMAPError& failure) {
    return "could not log in to " + account.host + " as " + account.email + ": " + failure.description() +
           advice(failure, account.email);
  }
}
