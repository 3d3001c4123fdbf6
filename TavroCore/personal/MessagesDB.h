// The messages that the owner got, read from the file in which the Messages application keeps them:
// ~/Library/Messages/chat.db, a SQLite database that only Messages writes.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Platform/Error.h"

namespace MessagesDB {

struct InboundMessage {
  std::string date;    // "yyyy-MM-dd HH:mm:ss", local
  double epoch = 0;    // the same, in seconds since 1970-01-01 00:00:00 UTC
  std::string handle;  // the sender's phone number or address
  std::string text;

  bool operator==(const InboundMessage&) const = default;
};

class MessagesError : public Error {
 public:
  static MessagesError notAccessible(const std::string& detail);

 private:
  using Error::Error;
};

/// The newest first, `limit` at most. `from` is a whole handle, blanks in it don't count; `contains` is a pattern of
/// SQLite's LIKE between two "%". Empty texts count as absent. Throws MessagesError when the file can't be opened or
/// is no database, and DatabaseError when it can't be asked.
std::vector<InboundMessage> recentInbound(const std::optional<std::string>& from, std::optional<long long> sinceMinutes,
                                          const std::optional<std::string>& contains, long long limit);

}  // namespace MessagesDB
