// A thin layer over SQLite: one connection that does one thing at a time, statements that are prepared
// once, and schema versions that are applied once. Threads of one process are kept apart by the queue's
// mutex, processes by SQLite's file locks (rollback journal, full sync, busy timeout 5 s).
//
//   queue->write([&](Database& db) { db.execute("DELETE FROM notes WHERE id = ?", {id}); });
//   queue->read([&](Database& db) {
//     db.query("SELECT * FROM notes", {}, [&](const Row& row) { texts.push_back(row.text("text").value_or("")); });
//   });
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "Platform/Error.h"

/// Its description names the file, what was done to it, and SQLite's reason.
class DatabaseError : public Error {
 public:
  using Error::Error;
};

/// A value to bind: NULL, an integer, a real or a text, which must live until the statement has run.
using DatabaseValue = std::variant<std::monostate, std::int64_t, double, std::string_view>;
/// The text, or NULL when it is absent.
DatabaseValue databaseValue(const std::optional<std::string>& text);

/// The row that a query stands on; valid during the call that it was given to. Columns go by name, so
/// that a table to which a later version has added columns reads as before. A column that the query
/// doesn't have reads as NULL.
class Row {
 public:
  bool isNull(std::string_view column) const;
  /// Nothing when the column is NULL or a blob. A number comes as its text; bytes that are not UTF-8
  /// come repaired.
  std::optional<std::string> text(std::string_view column) const;
  /// As `text`, with a blob's bytes taken for text: for tables that other programs fill.
  std::optional<std::string> textOrBlob(std::string_view column) const;
  std::int64_t integer(std::string_view column) const;  // 0 for NULL and for what is no number
  double real(std::string_view column) const;

 private:
  friend class Database;
  explicit Row(void* statement) : statement_(statement) {}
  int index(std::string_view column) const;

  void* statement_;       // sqlite3_stmt
  mutable int next_ = 0;  // columns are mostly asked for in their own order
};

/// The open connection inside a read or a write. Every operation throws DatabaseError.
class Database {
 public:
  /// Runs a statement that gives no rows. Returns the number of rows it changed.
  int execute(std::string_view sql, const std::vector<DatabaseValue>& values = {});
  /// Calls `each` for every row. What `each` throws ends the query and passes through.
  void query(std::string_view sql, const std::vector<DatabaseValue>& values,
             const std::function<void(const Row&)>& each);
  /// The first column of the first row; 0 when there is none.
  std::int64_t integer(std::string_view sql, const std::vector<DatabaseValue>& values = {});
  /// Runs several statements of a fixed text, schema text for instance.
  void executeScript(const std::string& sql);
  /// A number that differs from an earlier one when another connection has changed the file since. Our
  /// own writes don't count. For caches: take it first, then read, in one `read`.
  std::int64_t foreignChanges();

 private:
  friend class GRDBQueue;
  struct Connection;
  explicit Database(Connection& connection) : connection_(connection) {}
  Connection& connection_;
};

/// Ordered schema versions, each recorded by its name in the table grdb_migrations.
class Migrator {
 public:
  void registerMigration(std::string identifier, std::string sql);
  const std::vector<std::pair<std::string, std::string>>& migrations() const { return migrations_; }

 private:
  std::vector<std::pair<std::string, std::string>> migrations_;
};

class GRDBQueue {
 public:
  /// Opens <home>/<filename>, after ConfigDir::ensure(), and brings its schema up to date. Throws
  /// DatabaseError, or FileFailure when there can't be a home.
  static std::unique_ptr<GRDBQueue> openOnDisk(const std::string& filename, const Migrator& migrator);
  /// Opens this very file (":memory:" for a private one in memory) and brings its schema up to date.
  /// A file that is no database, or that can't be opened, is left as it is. Throws DatabaseError.
  static std::unique_ptr<GRDBQueue> open(const std::filesystem::path& path, const Migrator& migrator);
  /// Opens another program's file to read it, in WAL mode too, while that program may write. Nothing is migrated,
  /// written or created, not even a file beside it. Throws DatabaseError for a file that is missing, can't be read, is
  /// locked for longer than the busy timeout, or is no database.
  static std::unique_ptr<GRDBQueue> openReadOnly(const std::filesystem::path& path);
  ~GRDBQueue();
  GRDBQueue(const GRDBQueue&) = delete;
  GRDBQueue& operator=(const GRDBQueue&) = delete;

  /// Runs `body` as a unit, with one view of the data (a deferred transaction). `body` must not call
  /// the queue again.
  void read(const std::function<void(Database&)>& body);
  /// Runs `body` in one transaction that is begun IMMEDIATE: it waits for other writers at its start
  /// and not half-way, where waiting could never end. Rolled back when `body` throws or the commit
  /// fails. `body` must not call the queue again.
  void write(const std::function<void(Database&)>& body);

 private:
  explicit GRDBQueue(std::unique_ptr<Database::Connection> connection);
  void migrate(const Migrator& migrator);
  void transaction(const char* begin, const std::function<void(Database&)>& body);
  std::unique_ptr<Database::Connection> connection_;
};
