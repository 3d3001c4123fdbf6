#include "TavroCore/mail/MailArchiveService.h"

#include <algorithm>
#include <limits>

#include "Platform/Text.h"
#include "TavroCore/harness/HarnessRunner.h"
#include "TavroCore/mail/IMAPClient.h"
#include "TavroCore/mail/Keychain.h"
#include "TavroCore/mail/MailAccounts.h"
#include "TavroCore/mail/MailCriteria.h"
#include "TavroCore/mail/MailTools.h"

namespace MailArchiveService {

namespace {

using ImapAccount = std::optional<IMAPArchiveAccount>;

template <typename Accepts>
ImapAccount firstOfSettings(const Accepts& accepts) {
  const auto accounts = HarnessConfig::load().imapAccounts;
  const auto found = std::find_if(accounts.begin(), accounts.end(), accepts);
  return found != accounts.end() ? ImapAccount(*found) : std::nullopt;
}

template <typename Accepts>
ImapAccount firstOfGmail(const Accepts& accepts) {
  const auto accounts = MailAccounts::gmail();
  const auto found = std::find_if(accounts.begin(), accounts.end(), accepts);
  if (found == accounts.end() || found->email.empty()) return std::nullopt;
  return IMAPArchiveAccount{found->mailAccountName, found->email, "imap.gmail.com", 993};
}

/// The server that archives the account over IMAP. The owner's entry comes first and needs no Mail.
ImapAccount imapAccount(const std::string& account) {
  const auto isIt = [&](const auto& one) { return one.mailAccountName == account; };
  if (auto chosen = firstOfSettings(isIt)) return chosen;
  return account.empty() ? std::nullopt : firstOfGmail(isIt);
}

std::uint16_t usablePort(const IMAPArchiveAccount& account) {
  try {
    return imapPort(account);
  } catch (const Error& failure) {
    throw ArchiveError::imap(failure.description());
  }
}

std::string archiveOverIMAP(const IMAPArchiveAccount& imap, const std::string& mailbox, const Arguments& criteria) {
  const auto password = Keychain::password(imap.email);
  if (!password) throw ArchiveError::missingCredential(imap.email);
  const std::uint16_t port = usablePort(imap);
  const auto matching = MailCriteria::mailMatchingMessageIDs(imap.mailAccountName, mailbox, criteria);
  if (!matching.ok) throw ArchiveError::osascript(matching.error);
  if (matching.ids.empty()) return "OK archived 0 message(s) - no match";
  try {
    const int moved = IMAPClient::archiveByMessageID(imap.host, port, imap.email, *password, matching.ids);
    return "OK archived " + std::to_string(moved) + " message(s) - moved out of INBOX over IMAP";
  } catch (const Error& failure) {
    throw ArchiveError::imap(failure.description());
  }
}

std::string archiveByMove(Arguments args, const std::string& mailbox) {
  args["mailbox"] = mailbox;
  if (argument(args, "dest").empty()) args["dest"] = fallbackArchiveMailbox;
  const auto moved = HarnessRunner::executeBuilt(MailTools::move(), args);  // the gate let mail.archive through
  if (!moved.ok) throw ArchiveError::osascript(moved.error);
  return moved.output;
}

}  // namespace

ArchiveError ArchiveError::missingCredential(const std::string& email) {
  return ArchiveError("no app password in Keychain for " + email + " - add it in Settings → Archive.");
}

ArchiveError ArchiveError::osascript(const std::string& text) {
  return ArchiveError("could not read the messages to archive: " + text);
}

ArchiveError ArchiveError::imap(const std::string& text) { return ArchiveError("IMAP archive failed: " + text); }

std::string archive(const Arguments& args) {
  const auto given = args.find("mailbox");
  const std::string mailbox = given != args.end() ? given->second : "INBOX";
  const auto imap = imapAccount(argument(args, "account"));
  return imap ? archiveOverIMAP(*imap, mailbox, args) : archiveByMove(args, mailbox);
}

std::string destinationLabel(const std::string& account) {
  return imapAccount(account) ? "archive (IMAP \\Inbox)" : fallbackArchiveMailbox;
}

std::optional<IMAPArchiveAccount> imapAccountWithEmail(const std::string& email) {
  const auto isIt = [&](const auto& one) { return Text::equalIgnoringCase(one.email, email); };
  if (auto chosen = firstOfSettings(isIt)) return chosen;
  return firstOfGmail(isIt);
}

std::uint16_t imapPort(const IMAPArchiveAccount& account) {
  if (account.port < 0 || account.port > std::numeric_limits<std::uint16_t>::max()) {
    throw Error("the port of " + account.email + " in the settings' imapAccounts is " + std::to_string(account.port) +
                ", and a port lies between 0 (for the usual 993) and 65535");
  }
  return static_cast<std::uint16_t>(account.port);
}

}  // namespace MailArchiveService
