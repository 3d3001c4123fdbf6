// The bytes of a mailbox's cache file, in the machine's own byte order:
//
//   version  checksum of all that follows  the mailbox's path  count  records, by unique name
//
// A text is its length in 32 bits and its bytes. Whatever else may stand in such a file is no cache.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/linux/stores/MailIndex.h"

namespace MailCache {

/// Tells a file from what it was when we read it; a message's file is never written to again.
struct Stamp {
  std::uint64_t inode = 0;
  std::uint64_t size = 0;
  std::int64_t modified = 0;  // nanoseconds since 1970
  bool operator==(const Stamp&) const = default;
};

struct Record {
  Stamp stamp;
  MailSummary summary;  // of the entry, only the unique name is kept
};

std::string encode(std::string_view mailbox, const std::vector<const Record*>& records);
/// Empty when the bytes aren't a whole cache of this mailbox.
std::vector<Record> decode(std::string_view mailbox, std::string_view bytes);

}  // namespace MailCache
