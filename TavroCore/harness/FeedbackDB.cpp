#include "TavroCore/harness/FeedbackDB.h"

#include "Platform/Uuid.h"
#include "TavroCore/harness/Timestamps.h"

namespace {

using Items = std::vector<FeedbackItem>;
using Values = std::vector<DatabaseValue>;

/// Nothing when a required column can't be read. A kind of a later version is shown as a directive rather than lost.
std::optional<FeedbackItem> decode(const Row& row) {
  auto id = row.text("id");
  const auto kind = row.text("kind");
  auto text = row.text("text");
  auto createdAt = row.text("created_at");
  auto source = row.text("source");
  if (!id || !kind || !text || !createdAt || !source) return std::nullopt;
  return FeedbackItem{
      .id = std::move(*id),
      .kind = feedbackKindFromRawValue(*kind).value_or(FeedbackItem::Kind::directive),
      .text = std::move(*text),
      .automation = row.text("automation"),
      .channel = row.text("channel"),
      .handle = row.text("handle"),
      .answer = row.text("answer"),
      .createdAt = std::move(*createdAt),
      .answeredAt = row.text("answered_at"),
      .injectedAt = row.text("injected_at"),
      .expiresAt = row.text("expires_at"),
      .source = std::move(*source),
  };
}

FeedbackDB::Listing select(Database& database, std::string_view sql, const Values& values) {
  FeedbackDB::Listing listing;
  database.query(sql, values, [&](const Row& row) {
    if (auto item = decode(row)) {
      listing.items.push_back(std::move(*item));
    } else {
      listing.unreadable.push_back(row.text("id").value_or(""));
    }
  });
  return listing;
}

/// Half an order is no order: what an automation is told comes whole or not at all.
Items whole(FeedbackDB::Listing listing) {
  if (listing.unreadable.empty()) return std::move(listing.items);
  throw DatabaseError("the feedback item \"" + listing.unreadable.front() +
                      "\" can't be read; `tavro feedback rm` removes it");
}

Items pending(Database& database, std::string_view automation, std::string_view now) {
  return whole(select(database, R"(SELECT * FROM feedback
WHERE (expires_at IS NULL OR expires_at > ?)
  AND (
        (kind IN ('directive','verdict') AND (automation IS NULL OR automation = ?))
     OR (kind = 'question' AND answer IS NOT NULL AND injected_at IS NULL AND automation = ?)
      )
ORDER BY created_at ASC;)",
                      {now, automation, automation}));
}

void mark(Database& database, const std::vector<std::string>& ids, std::string_view now) {
  for (const auto& id : ids)
    database.execute("UPDATE feedback SET injected_at = ? WHERE id = ? AND injected_at IS NULL;", {now, id});
}

FeedbackDB::Listing unexpired(GRDBQueue& queue, const std::optional<std::string>& automation, long long limit) {
  const std::string now = Timestamps::now();
  FeedbackDB::Listing listing;
  queue.read([&](Database& database) {
    if (automation) {
      listing = select(database, R"(SELECT * FROM feedback
WHERE (expires_at IS NULL OR expires_at > ?) AND (automation IS NULL OR automation = ?)
ORDER BY created_at DESC LIMIT ?;)",
                       {now, *automation, limit});
    } else {
      listing = select(database, R"(SELECT * FROM feedback WHERE (expires_at IS NULL OR expires_at > ?)
ORDER BY created_at DESC LIMIT ?;)",
                       {now, limit});
    }
  });
  return listing;
}

int change(GRDBQueue& queue, std::string_view sql, const Values& values) {
  int changed = 0;
  queue.write([&](Database& database) { changed = database.execute(sql, values); });
  return changed;
}

}  // namespace

void FeedbackDB::registerMigrations(Migrator& migrator) {
  migrator.registerMigration("feedback_v1", R"(CREATE TABLE feedback (
    id          TEXT PRIMARY KEY,
    kind        TEXT NOT NULL,
    text        TEXT NOT NULL,
    automation  TEXT,
    channel     TEXT,
    handle      TEXT,
    answer      TEXT,
    created_at  TEXT NOT NULL,
    answered_at TEXT,
    injected_at TEXT,
    expires_at  TEXT,
    source      TEXT NOT NULL
);)");
  migrator.registerMigration("feedback_v2_pending", "ALTER TABLE feedback ADD COLUMN pending_id TEXT;");
}

bool FeedbackDB::add(const FeedbackItem& item) {
  return change(*queue_, R"(INSERT INTO feedback
    (id, kind, text, automation, channel, handle, answer,
     created_at, answered_at, injected_at, expires_at, source)
VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)
ON CONFLICT(id) DO NOTHING;)",
                {item.id, rawValue(item.kind), item.text, databaseValue(item.automation), databaseValue(item.channel),
                 databaseValue(item.handle), databaseValue(item.answer), item.createdAt, databaseValue(item.answeredAt),
                 databaseValue(item.injectedAt), databaseValue(item.expiresAt), item.source}) > 0;
}

std::string FeedbackDB::freshId() {
  std::string id;
  queue_->read([&](Database& database) {
    do {
      id = Uuid::shortId();
    } while (database.integer("SELECT COUNT(*) FROM feedback WHERE id = ?;", {id}) > 0);
  });
  return id;
}

std::vector<FeedbackItem> FeedbackDB::openQuestions(std::string_view channel) {
  const std::string now = Timestamps::now();
  Items items;
  queue_->read([&](Database& database) {
    items = whole(select(database, R"(SELECT * FROM feedback
WHERE kind = 'question' AND answer IS NULL AND channel = ?
  AND (expires_at IS NULL OR expires_at > ?)
ORDER BY created_at ASC;)",
                         {channel, now}));
  });
  return items;
}

bool FeedbackDB::answer(std::string_view id, std::string_view text) {
  const std::string now = Timestamps::now();
  return change(*queue_, R"(UPDATE feedback SET answer = ?, answered_at = ?
WHERE id = ? AND answer IS NULL;)",
                {text, now, id}) > 0;
}

std::vector<FeedbackItem> FeedbackDB::pendingInjection(std::string_view automation) {
  const std::string now = Timestamps::now();
  Items items;
  queue_->read([&](Database& database) { items = pending(database, automation, now); });
  return items;
}

void FeedbackDB::markInjected(const std::vector<std::string>& ids, std::string_view now) {
  queue_->write([&](Database& database) { mark(database, ids, now); });
}

std::vector<FeedbackItem> FeedbackDB::takeInjection(std::string_view automation) {
  const std::string now = Timestamps::now();
  Items items;
  queue_->write([&](Database& database) {
    items = pending(database, automation, now);
    std::vector<std::string> questions;
    for (const auto& item : items) {
      if (item.kind == FeedbackItem::Kind::question) questions.push_back(item.id);
    }
    mark(database, questions, now);
  });
  return items;
}

bool FeedbackDB::remove(std::string_view id) { return change(*queue_, "DELETE FROM feedback WHERE id = ?;", {id}) > 0; }

long long FeedbackDB::gc(long long retainDays) {
  const std::string now = Timestamps::now();
  const std::string cutOff = Timestamps::daysAgo(retainDays);
  return change(*queue_, R"(DELETE FROM feedback
WHERE (expires_at IS NOT NULL AND expires_at <= ?)
   OR (kind = 'question' AND injected_at IS NOT NULL AND created_at < ?);)",
                {now, cutOff});
}

std::vector<FeedbackItem> FeedbackDB::recent(const std::optional<std::string>& automation, long long limit) {
  return whole(unexpired(*queue_, automation, limit));
}

FeedbackDB::Listing FeedbackDB::list(const std::optional<std::string>& automation) {
  constexpr long long all = -1;  // to SQLite
  return unexpired(*queue_, automation, all);
}
