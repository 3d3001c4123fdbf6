// What listings need of every message of a mailbox, without reading the messages again: a cache file beside the
// store keeps it, checked against each file's inode, size and time. Losing the cache costs only time.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Dates.h"
#include "Platform/linux/stores/Maildir.h"

struct MailSummary {
  Maildir::Entry entry;
  std::uint64_t size = 0;   // of the file, in bytes
  Dates::Instant received;  // delivery time of the name, else the last Received line, else the file's time
  std::optional<Dates::Instant> sent;
  std::string subject;          // decoded, on one line; cut after 16 KiB
  std::string sender;           // likewise: "Ann Lee <ann@x.example>"
  std::string messageID;        // without angle brackets; empty when the message has none
  std::vector<std::string> to;  // plain addresses
};

class MailIndex {
 public:
  /// `directory` holds the cache files, one a mailbox, and is made when needed; they are the owner's alone.
  explicit MailIndex(std::filesystem::path directory);

  /// The mailbox's messages, newest `received` first, then by unique name. A file that vanishes meanwhile is left out;
  /// one that isn't readable has an empty subject and sender. Of a message only its header is read, of a longer header
  /// the first 2 MiB; several threads read. Throws FileFailure when the mailbox can't be read; a cache that can't be
  /// read or written is none.
  std::vector<MailSummary> messages(const Maildir& mailbox) const;

 private:
  std::filesystem::path directory_;
};
