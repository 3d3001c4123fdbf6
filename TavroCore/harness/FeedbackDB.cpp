#include "TavroCore/harness/FeedbackDB.h"

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
