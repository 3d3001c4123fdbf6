// The least that a durable audit line can cost: reads a line, inserts one row with the journal settings
// of our own database (rollback journal, full sync), answers. argv[1] is the file, argv[2] the details.
#include <sqlite3.h>
#include <unistd.h>

int main(int, char** argv) {
  sqlite3* database = nullptr;
  sqlite3_stmt* insert = nullptr;
  if (sqlite3_open(argv[1], &database) != SQLITE_OK) return 1;
  sqlite3_exec(database,
               "CREATE TABLE audit (id INTEGER PRIMARY KEY AUTOINCREMENT, timestamp TEXT NOT NULL, actor TEXT NOT NULL,"
               " action TEXT NOT NULL, account_id TEXT, outcome TEXT NOT NULL, reason TEXT, details TEXT NOT NULL);"
               "CREATE INDEX idx_audit_time ON audit(timestamp);"
               "CREATE INDEX idx_audit_action_outcome_time ON audit(action, outcome, timestamp);",
               nullptr, nullptr, nullptr);
  if (sqlite3_prepare_v2(database,
                         "INSERT INTO audit (timestamp, actor, action, account_id, outcome, reason, details)"
                         " VALUES ('2026-03-14T09:26:53Z', 'mcp', 'how_it_works', NULL, 'executed', 'read', ?)",
                         -1, &insert, nullptr) != SQLITE_OK)
    return 1;
  static char buffer[65536];
  for (ssize_t count; (count = read(0, buffer, sizeof buffer)) > 0;)
    for (ssize_t i = 0; i < count; ++i)
      if (buffer[i] == '\n') {
        sqlite3_bind_text(insert, 1, argv[2], -1, SQLITE_STATIC);
        if (sqlite3_step(insert) != SQLITE_DONE) return 1;
        sqlite3_reset(insert);
        if (write(1, "ok\n", 3) < 0) return 1;
      }
}
