#include "TavroCore/harness/GRDBQueue.h"

#include <sqlite3.h>

#include <array>
#include <chrono>
#include <mutex>
#include <set>
#include <system_error>
#include <thread>
#include <unordered_map>

#include "Platform/Files.h"
#include "Platform/Text.h"
#include "TavroCore/harness/ConfigDir.h"

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr auto patience = 5s;

struct Finalize {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, Finalize>;

/// Lets a map of texts be searched without making a text.
struct Hash {
  using is_transparent = void;
  std::size_t operator()(std::string_view text) const noexcept { return std::hash<std::string_view>()(text); }
};
using Statements = std::unordered_map<std::string, Statement, Hash, std::equal_to<>>;

struct Close {
  void operator()(sqlite3* handle) const { sqlite3_close(handle); }
};

sqlite3_stmt* raw(void* statement) { return static_cast<sqlite3_stmt*>(statement); }

/// Called by SQLite whenever another process holds the lock that it needs. SQLite's own timeout sleeps
/// longer and longer, up to 100 ms, and so comes too late to every gap between two busy writers; short
/// sleeps of random length give each of them its turn.
int waitForTheOthers(void* waitingSince, int attempt) {
  auto& since = *static_cast<Clock::time_point*>(waitingSince);
  const auto now = Clock::now();
  if (attempt == 0) since = now;
  if (now - since >= patience) return 0;
  unsigned char dice = 0;
  sqlite3_randomness(1, &dice);
  std::this_thread::sleep_for(500us + dice * 20us);
  return 1;
}

}  // namespace

struct Database::Connection {
  std::string file;
  Clock::time_point waitingSince;
  std::unique_ptr<sqlite3, Close> handle;
  Statements idle;  // prepared, and not running
  std::mutex mutex;
  std::optional<std::filesystem::file_time_type> unlockedSince;  // of a file that is read without locks

  /// `access` are flags of sqlite3_open_v2, `fileSystem` one of SQLite's, null for the usual one.
  Connection(const std::filesystem::path& path, int access, const std::string& name, const char* fileSystem = nullptr)
      : file(path.string()) {
    sqlite3* opened = nullptr;
    const int flags = access | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE;
    const int code = sqlite3_open_v2(name.c_str(), &opened, flags, fileSystem);
    handle.reset(opened);  // there is one to close even when opening failed
    if (code != SQLITE_OK) throw failure("open");
  }

  static std::unique_ptr<Connection> toWrite(const std::filesystem::path& path);
  static std::unique_ptr<Connection> toRead(const std::filesystem::path& path);
  static std::unique_ptr<Connection> finished(const std::filesystem::path& path);
  static std::unique_ptr<Connection> alone(const std::filesystem::path& path);

  void waitWhenBusy() { sqlite3_busy_handler(handle.get(), waitForTheOthers, &waitingSince); }

  void set(int option, int value) const { sqlite3_db_config(handle.get(), option, value, nullptr); }

  DatabaseError failure(const std::string& doing) const {
    const int code = sqlite3_extended_errcode(handle.get());
    std::string reason = sqlite3_errmsg(handle.get());
    if (const int number = sqlite3_system_errno(handle.get()); (code & 0xFF) == SQLITE_CANTOPEN && number != 0)
      reason += " (" + std::generic_category().message(number) + ")";
    return DatabaseError("could not " + doing + " the database " + file + ": " + reason);
  }

  void run(const std::string& sql, const std::string& doing) const {
    if (sqlite3_exec(handle.get(), sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) throw failure(doing);
  }

  void check(int code) const {
    if (code != SQLITE_OK) throw failure("use");
  }

  /// Whoever came while we read without locks has told it by changing the file.
  void checkUndisturbed() const {
    if (!unlockedSince || lastWritten() == unlockedSince) return;
    throw DatabaseError("could not read the database " + file + ": another program changed it meanwhile");
  }

  std::filesystem::file_time_type lastWritten() const {
    std::error_code gone;
    return std::filesystem::last_write_time(file, gone);
  }

  Statement prepare(std::string_view sql) const {
    sqlite3_stmt* statement = nullptr;
    check(sqlite3_prepare_v3(handle.get(), sql.data(), static_cast<int>(sql.size()), SQLITE_PREPARE_PERSISTENT,
                             &statement, nullptr));
    return Statement(statement);
  }
};

// ---- Opening.

std::unique_ptr<Database::Connection> Database::Connection::toWrite(const std::filesystem::path& path) {
  auto connection = std::make_unique<Connection>(path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, path.string());
  // A file that another program left in WAL mode goes back. Without waiting: where it is in use, a later opening
  // does it, and what is wrong with the file shows at its first use.
  sqlite3_exec(connection->handle.get(), "PRAGMA journal_mode = DELETE", nullptr, nullptr, nullptr);
  connection->waitWhenBusy();
  connection->set(SQLITE_DBCONFIG_ENABLE_FKEY, 1);
  return connection;
}

namespace {

/// How a file can be read without leaving anything beside it. In WAL mode SQLite makes the two companions that it
/// misses ("-wal" and "-shm"), or fails where it may not. They are both there while some program has the file open.
enum class Reading {
  shared,   // with the locks that keep writers and readers apart
  alone,    // nobody has it open, but what its last writer wrote is still in its log
  finished  // nobody has it open, and all is in the file itself
};

/// The file's header tells its mode. SQLite's own handle reads it: to open and close the file a second time would
/// release every lock that this process holds on it.
bool isInWalMode(sqlite3* handle) {
  sqlite3_file* file = nullptr;
  sqlite3_file_control(handle, "main", SQLITE_FCNTL_FILE_POINTER, &file);
  std::array<unsigned char, 20> header{};
  return file && file->pMethods && file->pMethods->xRead(file, header.data(), header.size(), 0) == SQLITE_OK &&
         header[19] == 2;
}

Reading suitableReading(sqlite3* handle) {
  if (!isInWalMode(handle)) return Reading::shared;
  const std::string file = sqlite3_db_filename(handle, "main");  // links are resolved in it
  std::error_code absent;
  const auto logged = std::filesystem::file_size(file + "-wal", absent);
  if (!absent && Files::exists(file + "-shm")) return Reading::shared;
  return absent || logged == 0 ? Reading::finished : Reading::alone;
}

std::string uri(const std::filesystem::path& path, const std::string& parameter) {
  std::string escaped;
  const auto file = std::filesystem::absolute(path).string();
  for (const char c : file) escaped += c == '%' ? "%25" : c == '?' ? "%3f" : c == '#' ? "%23" : std::string(1, c);
  return "file://" + escaped + "?" + parameter;
}

}  // namespace

std::unique_ptr<Database::Connection> Database::Connection::finished(const std::filesystem::path& path) {
  return std::make_unique<Connection>(path, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, uri(path, "immutable=1"));
}

/// An exclusive connection keeps the log's index in its memory, and the file system without locks lets one that may
/// not write be exclusive.
std::unique_ptr<Database::Connection> Database::Connection::alone(const std::filesystem::path& path) {
  auto connection = std::make_unique<Connection>(path, SQLITE_OPEN_READONLY, path.string(), "unix-none");
  connection->set(SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1);
  connection->run("PRAGMA locking_mode = EXCLUSIVE", "open");
  return connection;
}

std::unique_ptr<Database::Connection> Database::Connection::toRead(const std::filesystem::path& path) {
  std::error_code absent;
  if (std::filesystem::is_fifo(path, absent))  // to open it would keep us waiting
    throw DatabaseError("could not open the database " + path.string() + ": it is a pipe");
  auto connection = std::make_unique<Connection>(path, SQLITE_OPEN_READONLY, path.string());
  if (const auto reading = suitableReading(connection->handle.get()); reading != Reading::shared) {
    const auto since = connection->lastWritten();
    connection = reading == Reading::finished ? finished(path) : alone(path);
    connection->unlockedSince = since;
  }
  connection->waitWhenBusy();
  connection->set(SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0);  // another program's views may call nothing but plain functions
  connection->run("SELECT 1 FROM sqlite_master", "open");
  return connection;
}

namespace {

/// SQLite's result code.
int bind(sqlite3_stmt* statement, int position, const DatabaseValue& value) {
  struct Binder {
    sqlite3_stmt* statement;
    int position;
    int operator()(std::monostate) const { return sqlite3_bind_null(statement, position); }
    int operator()(std::int64_t number) const { return sqlite3_bind_int64(statement, position, number); }
    int operator()(double number) const { return sqlite3_bind_double(statement, position, number); }
    int operator()(std::string_view text) const {
      const char* bytes = text.data() ? text.data() : "";  // a null pointer would bind NULL
      return sqlite3_bind_text64(statement, position, bytes, text.size(), SQLITE_STATIC, SQLITE_UTF8);
    }
  };
  return std::visit(Binder{statement, position}, value);
}

/// A prepared statement while it runs: taken out of the connection's idle ones, and given back at the
/// end. So a query inside a query of the same text gets a statement of its own.
template <typename Connection>
class Running {
 public:
  Running(Connection& connection, std::string_view sql, const std::vector<DatabaseValue>& values)
      : connection_(connection), kept_(take(connection, sql)) {
    int position = 0;
    for (const auto& value : values) connection_.check(bind(get(), ++position, value));
  }

  ~Running() {
    sqlite3_reset(get());
    sqlite3_clear_bindings(get());  // they point into the caller's texts
    connection_.idle.insert(std::move(kept_));
  }

  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;

  /// False when there is no further row.
  bool step() {
    const int code = sqlite3_step(get());
    if (code != SQLITE_ROW && code != SQLITE_DONE) throw connection_.failure("use");
    return code == SQLITE_ROW;
  }

  sqlite3_stmt* get() const { return kept_.mapped().get(); }

 private:
  static Statements::node_type take(Connection& connection, std::string_view sql) {
    if (const auto found = connection.idle.find(sql); found != connection.idle.end()) {
      return connection.idle.extract(found);
    }
    Statements fresh;
    fresh.emplace(sql, connection.prepare(sql));
    return fresh.extract(fresh.begin());
  }

  Connection& connection_;
  Statements::node_type kept_;
};

}  // namespace

DatabaseValue databaseValue(const std::optional<std::string>& text) {
  if (!text) return std::monostate();
  return std::string_view(*text);
}

int Row::index(std::string_view column) const {
  const int count = sqlite3_column_count(raw(statement_));
  for (int tried = 0; tried < count; ++tried) {
    const int candidate = (next_ + tried) % count;
    const char* name = sqlite3_column_name(raw(statement_), candidate);
    if (!name || column != name) continue;
    next_ = (candidate + 1) % count;
    return candidate;
  }
  return -1;  // which SQLite reads as NULL
}

bool Row::isNull(std::string_view column) const {
  return sqlite3_column_type(raw(statement_), index(column)) == SQLITE_NULL;
}

std::optional<std::string> Row::text(std::string_view column) const {
  const int type = sqlite3_column_type(raw(statement_), index(column));
  return type == SQLITE_BLOB ? std::nullopt : textOrBlob(column);
}

std::optional<std::string> Row::textOrBlob(std::string_view column) const {
  if (isNull(column)) return std::nullopt;
  const int position = index(column);
  const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(raw(statement_), position));
  if (!bytes) return std::nullopt;
  std::string text(bytes, static_cast<std::size_t>(sqlite3_column_bytes(raw(statement_), position)));
  return Text::isValidUTF8(text) ? text : Text::repairUTF8(std::move(text));
}

std::int64_t Row::integer(std::string_view column) const {
  return sqlite3_column_int64(raw(statement_), index(column));
}

double Row::real(std::string_view column) const { return sqlite3_column_double(raw(statement_), index(column)); }

int Database::execute(std::string_view sql, const std::vector<DatabaseValue>& values) {
  Running statement(connection_, sql, values);
  while (statement.step()) {
  }
  return sqlite3_changes(connection_.handle.get());
}

void Database::query(std::string_view sql, const std::vector<DatabaseValue>& values,
                     const std::function<void(const Row&)>& each) {
  Running statement(connection_, sql, values);
  const Row row(statement.get());
  while (statement.step()) each(row);
}

std::int64_t Database::integer(std::string_view sql, const std::vector<DatabaseValue>& values) {
  Running statement(connection_, sql, values);
  return statement.step() ? sqlite3_column_int64(statement.get(), 0) : 0;
}

void Database::executeScript(const std::string& sql) { connection_.run(sql, "change"); }

std::int64_t Database::foreignChanges() { return integer("PRAGMA data_version"); }

void Migrator::registerMigration(std::string identifier, std::string sql) {
  migrations_.emplace_back(std::move(identifier), std::move(sql));
}

GRDBQueue::GRDBQueue(std::unique_ptr<Database::Connection> connection) : connection_(std::move(connection)) {}

GRDBQueue::~GRDBQueue() = default;

std::unique_ptr<GRDBQueue> GRDBQueue::openOnDisk(const std::string& filename, const Migrator& migrator) {
  ConfigDir::ensure();
  return open(ConfigDir::url() / filename, migrator);
}

std::unique_ptr<GRDBQueue> GRDBQueue::open(const std::filesystem::path& path, const Migrator& migrator) {
  std::unique_ptr<GRDBQueue> queue(new GRDBQueue(Database::Connection::toWrite(path)));
  queue->migrate(migrator);
  return queue;
}

std::unique_ptr<GRDBQueue> GRDBQueue::openReadOnly(const std::filesystem::path& path) {
  return std::unique_ptr<GRDBQueue>(new GRDBQueue(Database::Connection::toRead(path)));
}

void GRDBQueue::transaction(const char* begin, const std::function<void(Database&)>& body) {
  const std::lock_guard lock(connection_->mutex);
  Database database(*connection_);
  database.execute(begin);
  try {
    body(database);
    database.execute("COMMIT");
  } catch (...) {
    // SQLite has rolled back by itself after some failures, a full disk for instance.
    sqlite3* handle = connection_->handle.get();
    if (!sqlite3_get_autocommit(handle)) sqlite3_exec(handle, "ROLLBACK", nullptr, nullptr, nullptr);
    throw;
  }
}

void GRDBQueue::read(const std::function<void(Database&)>& body) {
  transaction("BEGIN", body);
  connection_->checkUndisturbed();
}

void GRDBQueue::write(const std::function<void(Database&)>& body) { transaction("BEGIN IMMEDIATE", body); }

namespace {

std::set<std::string> appliedVersions(Database& database) {
  std::set<std::string> applied;
  if (database.integer("SELECT COUNT(*) FROM sqlite_master WHERE type = 'table' AND name = 'grdb_migrations'") == 0) {
    return applied;
  }
  database.query("SELECT identifier FROM grdb_migrations", {},
                 [&](const Row& row) { applied.insert(row.text("identifier").value_or("")); });
  return applied;
}

}  // namespace

// A file that is up to date costs no write lock. Where a version is missing, the lock is taken and the
// list read again, since another process may be just as new here. Versions that we don't know belong to
// a later program; they are left alone.
void GRDBQueue::migrate(const Migrator& migrator) {
  std::set<std::string> applied;
  read([&](Database& database) { applied = appliedVersions(database); });
  for (const auto& version : migrator.migrations()) {
    if (applied.contains(version.first)) continue;
    write([&](Database& database) {
      database.executeScript("CREATE TABLE IF NOT EXISTS grdb_migrations (identifier TEXT NOT NULL PRIMARY KEY)");
      if (appliedVersions(database).contains(version.first)) return;
      database.executeScript(version.second);
      database.execute("INSERT INTO grdb_migrations (identifier) VALUES (?)", {std::string_view(version.first)});
    });
  }
}
