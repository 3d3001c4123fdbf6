// `tavro imap verify`: whether an account's server, certificate and password work, before an archiving needs them. It
// logs in only where the settings send the password anyway, so anybody may ask for it.
#include <memory>

#include "TavroCLI/ImapVerbs.h"
#include "TavroCLI/Terminal.h"
#include "TavroCore/harness/ConfigDir.h"
#include "TavroCore/mail/IMAPClient.h"
#include "TavroCore/mail/Keychain.h"
#include "TavroCore/mail/MailArchiveService.h"

namespace {

[[noreturn]] void fail(const std::string& text) { throw CommandError(ExitStatus::failed, text); }

IMAPArchiveAccount accountOf(const std::string& email) {
  if (auto account = MailArchiveService::imapAccountWithEmail(email)) return *account;
  fail("no account logs in as " + email + "; name it in imapAccounts of " +
       (ConfigDir::url() / "config.json").string() + R"(, as {"mailAccountName": "Work", "email": ")" + email +
       R"(", "host": "imap.example.org", "port": 993})");
}

std::string passwordOf(const std::string& email) {
  if (auto password = Keychain::password(email)) return *password;
  fail("the keychain has no password for " + email + ", or is locked; `tavro imap password " + email + "` keeps one");
}

std::string advice(const IMAPClient::IMAPError& failure, const std::string& email) {
  if (failure.kind() != IMAPClient::IMAPError::Case::server) return "";
  return "\nIf the password is another one by now, `tavro imap password " + email + "` replaces it.";
}

ExitStatus verified(const std::string& email) {
  const auto account = accountOf(email);
  const auto port = MailArchiveService::imapPort(account);
  const std::string password = passwordOf(account.email);
  try {
    IMAPClient::verifyLogin(account.host, port, account.email, password);
  } catch (const IMAPClient::IMAPError& failure) {
    fail("could not log in to " + account.host + " as " + account.email + ": " + failure.description() +
         advice(failure, account.email));
  }
  Terminal::print("OK logged in to " + account.host + " as " + account.email + "\n");
  return ExitStatus::done;
}

}  // namespace

namespace ImapVerbs {

Work verify(CLI::App& command) {
  auto email = std::make_shared<std::string>();
  command.add_option("EMAIL", *email, "the address that the account logs in with")->required();
  return [email] { return verified(*email); };
}

}  // namespace ImapVerbs
