#include "TavroCore/personal/MessagesDB.h"

#include <cmath>

#include "Platform/Dates.h"
#include "Platform/Environment.h"
#include "TavroCore/harness/GRDBQueue.h"

namespace {

using std::chrono::microseconds;

/// Messages counts nanoseconds since the beginning of 2001, UTC.
constexpr double messagesEpoch = 978'307'200;
constexpr double nanoseconds = 1'000'000'000;

double now() { return std::chrono::duration<double>(Dates::now().time_since_epoch()).count(); }

std::string localText(double epoch) {
  const auto whole = std::chrono::seconds(static_cast<long long>(std::floor(epoch)));
  return Dates::localText(Dates::Instant(whole), Dates::Unit::second);
}

/// A statement and its values, which point into the caller's texts.
struct Query {
  std::string sql =
      "SELECT m.date AS rawdate, h.id AS handle, m.text AS text\n"
      "FROM message m JOIN handle h ON m.handle_id = h.ROWID\n"
      "WHERE m.is_from_me = 0 AND m.text IS NOT NULL AND m.text != ''";
  std::vector<DatabaseValue> values;

  void add(std::string_view condition, DatabaseValue value) {
    sql += condition;
    values.push_back(value);
  }
};

MessagesDB::InboundMessage message(const Row& row) {
  const double epoch = static_cast<double>(row.integer("rawdate")) / nanoseconds + messagesEpoch;
  return {.date = localText(epoch),
          .epoch = epoch,
          .handle = row.textOrBlob("handle").value_or(""),
          .text = row.textOrBlob("text").value_or("")};
}

/// A failure to open is told apart from one to ask: only the first may be a missing permission.
std::unique_ptr<GRDBQueue> opened() try {
  return GRDBQueue::openReadOnly(Environment::home() / "Library/Messages/chat.db");
} catch (const DatabaseError& failure) {
  throw MessagesDB::MessagesError::notAccessible(failure.description());
}

}  // namespace

MessagesDB::MessagesError MessagesDB::MessagesError::notAccessible(const std::string& detail) {
  return MessagesError("chat.db not readable (grant Full Disk Access): " + detail);
}

std::vector<MessagesDB::InboundMessage> MessagesDB::recentInbound(const std::optional<std::string>& from,
                                                                  std::optional<long long> sinceMinutes,
                                                                  const std::optional<std::string>& contains,
                                                                  long long limit) {
  Query query;
  const auto pattern = "%" + contains.value_or("") + "%";
  if (from && !from->empty()) query.add(" AND replace(h.id, ' ', '') = replace(?, ' ', '')", std::string_view(*from));
  if (sinceMinutes) {
    const double since = now() - static_cast<double>(*sinceMinutes) * 60 - messagesEpoch;
    query.add(" AND m.date > ?", since * nanoseconds);
  }
  if (contains && !contains->empty()) query.add(" AND m.text LIKE ?", std::string_view(pattern));
  query.add(" ORDER BY m.date DESC LIMIT ?", std::int64_t{limit});

  std::vector<InboundMessage> messages;
  const auto queue = opened();
  queue->read([&](Database& database) {
    database.query(query.sql, query.values, [&](const Row& row) { messages.push_back(message(row)); });
  });
  return messages;
}
