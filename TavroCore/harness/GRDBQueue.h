// A thin layer over SQLite: one connection that does one thing at a time, statements that are prepared
// once, and schema versions that are applied once. Times of one process are kept apart by the queue's
// mutex, processes by SQLite's file locks (rollback journal, full sync, busy timeout 5 s).
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "Platform/Error.h"

class DatabaseError : public Error {
 public:
  DatabaseError(int code, std::string description) : Error(std::move(description)), code_(code) {}
  int code() const noexcept { return code_; }  // SQLite's extended result code

 private:
  int code_;
};

/// A value to bind: NULL, an integer, a real or a text.
using DatabaseValue = std::variant<std::monostate, std::int64_t, double, std::string_view>;
DatabaseValue databaseValue(const std::optional<std::string>& text);

/// A row under a running statement; valid until the next step. Columns are found by name once a
/// statement, not once a row.
class Row {
 public:
  bool isNull(int column) const;
  /// Nothing when the column is NULL or a blob.
  std::optional<std::string> text(int column) const;
  std::int64_t integer(int column) const;  // 0 for NULL
  double real(int column) const;

 private:
  friend class Database;
  explicit Row(void* statement) : statement_(statement) {}
  void* statement_;  // sqlite3_stmt
};

/// The open connection inside a read or a write.
class Database {
 public:
  /// Runs a statement that gives no rows. Returns the number of rows it changed.
  int execute(std::string_view sql, std::initializer_list<DatabaseValue> values = {});
  /// Calls `each` for every row. `sql` is prepared once per connection.
  void query(std::string_view sql, const std::vector<DatabaseValue>& values, const std::function<void(const Row&)>& each);
  /// The first column of the first row; 0 when there is none.
  std::int64_t integer(std::string_view sql, const std::vector<DatabaseValue>& values = {});
  /// Runs several statements of a fixed text, schema text for instance.
  void executeScript(const std::string& sql);

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
  /// Opens <home>/<filename>, after ConfigDir::ensure(), and brings its schema up to date.
  static std::unique_ptr<GRDBQueue> openOnDisk(const std::string& filename, const Migrator& migrator);
  /// Opens this very file (":memory:" for a private one in memory) and brings its schema up to date.
  static std::unique_ptr<GRDBQueue> open(const std::filesystem::path& path, const Migrator& migrator);
  ~GRDBQueue();
  GRDBQueue(const GRDBQueue&) = delete;
  GRDBQueue& operator=(const GRDBQueue&) = delete;

  /// Runs `body` as a unit, with one view of the data (a deferred transaction).
  void read(const std::function<void(Database&)>& body);
  /// Runs `body` in one transaction that is begun IMMEDIATE: it waits for other writers at its start
  /// and never fails on the way to its commit. Rolled back when `body` throws.
  void write(const std::function<void(Database&)>& body);

  /// A number that changes whenever another connection has changed the file; for caches of our own.
  std::int64_t foreignChanges();

 private:
  GRDBQueue();
  void migrate(const Migrator& migrator);
  std::unique_ptr<Database::Connection> connection_;
};
