// `tavro imap password`: what a mail server's account logs in with, typed by the owner and kept in the keychain.
#include <memory>

#include "Platform/Text.h"
#include "TavroCLI/ImapVerbs.h"
#include "TavroCLI/Owner.h"
#include "TavroCLI/Terminal.h"
#include "TavroCLI/Usage.h"
#include "TavroCore/mail/Keychain.h"
#include "TavroCore/mail/MailArchiveService.h"

namespace {

constexpr std::size_t longestPassword = 4096;

/// A line of IMAP can carry it.
const std::string& checked(const std::string& password) {
  constexpr std::string_view breaks("\0\r\n", 3);
  if (password.empty()) Usage::wrong("no password was given, and nothing is changed");
  if (password.size() > longestPassword) Usage::wrong("a password has at most 4096 bytes; nothing is changed");
  if (password.find_first_of(breaks) != password.npos) {
    Usage::wrong("a password can't hold a line break or a NUL byte; nothing is changed");
  }
  if (!Text::isValidUTF8(password)) Usage::wrong("the password isn't UTF-8 text; nothing is changed");
  return password;
}

struct Change {
  std::string email;
  bool removal = false;
  Owner::Consent consent;

  ExitStatus apply() const {
    if (email.empty()) Usage::wrong("EMAIL is empty");
    const auto known = MailArchiveService::imapAccountWithEmail(email);
    const std::string account = known ? known->email : email;  // as the archive will look it up
    const bool isThere = Keychain::hasPassword(account);
    return removal ? remove(account, isThere) : keep(account, isThere, known.has_value());
  }

  ExitStatus remove(const std::string& account, bool isThere) const {
    if (!isThere) {
      Terminal::say("the keychain has no password for " + account);
      return ExitStatus::done;
    }
    if (!consent.ask("", "Delete the password for " + account + " from the keychain?")) return unchanged();
    Keychain::deletePassword(account);
    if (Keychain::hasPassword(account)) {
      throw CommandError(ExitStatus::failed, "the keychain didn't delete the password for " + account +
                                                 "; it may be locked, or its files not yours to write");
    }
    Terminal::say("the password for " + account + " is deleted");
    return ExitStatus::done;
  }

  ExitStatus keep(const std::string& account, bool isThere, bool isKnown) const {
    const auto password = given(account, isThere);
    if (!password) return unchanged();
    Keychain::setPassword(checked(*password), account);
    Terminal::say("the password for " + account + " is in the keychain");
    if (!isKnown) {
      Terminal::say("but no account uses it yet: neither the settings' imapAccounts nor a Gmail account of Mail has " +
                    account);
    }
    return ExitStatus::done;
  }

  /// Who types a password has consented; one that is piped in wants a yes.
  std::optional<std::string> given(const std::string& account, bool isThere) const {
    const std::string whose = account + (isThere ? " (replaces the one that is there)" : "");
    if (Terminal::inputIsTerminal()) return Terminal::askHidden("Password for " + whose + ":");
    consent.require();  // before it is read
    auto password = checked(Terminal::firstLineOfInput(longestPassword));
    if (!consent.ask("", "Keep this password for " + whose + "?")) return std::nullopt;
    return password;
  }

  static ExitStatus unchanged() {
    Terminal::say("the keychain stays as it is");
    return ExitStatus::failed;
  }
};

}  // namespace

namespace ImapVerbs {

Work password(CLI::App& command) {
  auto change = std::make_shared<Change>();
  command.add_option("EMAIL", change->email, "the address that the account logs in with")->required();
  command.add_flag("--remove", change->removal, "Delete the password from the keychain");
  command.footer("The password is asked for, or is the first line of standard input when that is no terminal.");
  change->consent.declare(command, "imap password");
  return [change] {
    change->consent.requireOwner();
    return change->apply();
  };
}

}  // namespace ImapVerbs
