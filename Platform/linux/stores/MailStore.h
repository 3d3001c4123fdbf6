// Mail on disk: mail/<account>/account.json, and below mail/<account>/ one Maildir a mailbox, in either of the two
// layouts that programs write, or both. mbsync's: INBOX/, Archive/2025/. Maildir++ (Dovecot, Courier): the account's
// directory is itself the inbox, and .Archive.2025/ lies in it.
//
//   { "emails": ["Ann Lee <ann@work.example>"], "server": "imap.work.example", "send": "msmtp -a work -t -i" }
//
// Every field may be left out, and so may the file: a directory with a Maildir in it is an account.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/linux/stores/Maildir.h"

struct MailAccount {
  std::string directory;            // its name below mail/, and its identity
  std::string name;                 // "name", else the directory
  std::vector<std::string> emails;  // "emails": plain addresses, the first is what new mail is from; else the directory
                                    // where that is an address
  std::string fullName;             // "fullName", else what stands before the first address of "emails"
  std::string userName;             // "userName", else the first address
  std::string server;               // "server": the IMAP server's name
  int port = 0;                     // "port"; 0 when not told
  bool isSample = false;            // "sample": made to look at; comes behind all others, which new mail is then from
  bool isBroken = false;            // account.json is there, but no JSON object can be read from it
  std::string send;                 // "send": a shell command that takes one message on standard input
};

/// The mailboxes that Mail gives a meaning.
enum class MailboxRole { inbox, drafts, sent, trash, junk };

struct MailboxPlace {
  std::string account;  // directory
  std::string name;     // as Mail shows it: "INBOX", "Archive/2025"; each once in an account
  std::filesystem::path directory;
  std::optional<MailboxRole> role;
};

class MailStore {
 public:
  static constexpr std::string_view defaultSend = "sendmail -t -i";

  explicit MailStore(std::filesystem::path root);

  /// The accounts, sorted by directory, samples last; of two names that differ only in case the second gets a number. A
  /// directory that can't be read, an account.json that isn't a JSON object and a field of the wrong kind cost only
  /// themselves.
  std::vector<MailAccount> accounts() const;

  /// The account's mailboxes, INBOX first, the others sorted by name. Names on disk are decoded from IMAP's modified
  /// UTF-7 where they are valid in it. Two directories whose names read alike, but for case, get different names. A
  /// role is played by the mailbox that account.json names ("drafts", "sent", "trash", "junk"), else by the first of a
  /// customary name ("Trash", "Deleted Items", ...), else by none. Each directory is visited once, so links may lead
  /// anywhere; twelve levels down and after 10,000 directories the walk ends.
  std::vector<MailboxPlace> mailboxes(const std::string& account) const;

  /// The mailbox that plays this part; when there is none, where it will be once `Maildir::create` or a delivery made
  /// it, in the account's own layout.
  MailboxPlace special(const std::string& account, MailboxRole role) const;

  const std::filesystem::path& root() const { return root_; }

 private:
  std::filesystem::path root_;
};
