#include "Platform/linux/stores/MessagesStore.h"

#include <sqlite3.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <set>
#include <variant>

#include "Platform/Dates.h"
#include "Platform/Files.h"
#include "Platform/Json.h"
#include "Platform/Text.h"
#include "Platform/Uuid.h"
#include "Platform/linux/stores/MimeAddress.h"

namespace {

namespace fs = std::filesystem;
using std::string_view;

constexpr const char* service = "iMessage";

constexpr const char* tables =
    "CREATE TABLE handle (ROWID INTEGER PRIMARY KEY AUTOINCREMENT, id TEXT NOT NULL, service TEXT,"
    " UNIQUE (id, service));"
    "CREATE TABLE message (ROWID INTEGER PRIMARY KEY AUTOINCREMENT, guid TEXT UNIQUE, text TEXT, handle_id INTEGER,"
    " service TEXT, date INTEGER, is_from_me INTEGER NOT NULL DEFAULT 0);"
    "CREATE INDEX message_idx_date ON message (date)";

/// What Messages counts in: nanoseconds since the beginning of 2001, UTC.
std::int64_t messagesTime(Dates::Instant instant) {
  constexpr std::chrono::sys_days epoch = std::chrono::year(2001) / 1 / 1;
  return std::chrono::nanoseconds(instant - epoch).count();
}

// ---- SQLite, as much of it as this needs.

using SqlValue = std::variant<std::int64_t, string_view>;
struct Field {
  const char* column;
  SqlValue value;
  bool required = false;  // the others are left out where the table doesn't have them
};

class Connection {
 public:
  Connection(const fs::path& file, int access) : file_(file) {
    sqlite3* opened = nullptr;
    const int code = sqlite3_open_v2(file.c_str(), &opened, access | SQLITE_OPEN_NOMUTEX, nullptr);
    handle_.reset(opened);
    check(code);
    sqlite3_busy_timeout(opened, 5000);
  }

  void run(const char* sql) { check(sqlite3_exec(get(), sql, nullptr, nullptr, nullptr)); }

  /// Calls `each` with the text of column `column` of every row.
  void query(const std::string& sql, const std::vector<SqlValue>& values, int column,
             const std::function<void(string_view)>& each) {
    sqlite3_stmt* prepared = nullptr;
    check(sqlite3_prepare_v2(get(), sql.c_str(), -1, &prepared, nullptr));
    const std::unique_ptr<sqlite3_stmt, Finalize> statement(prepared);
    int position = 0;
    for (const auto& value : values) bind(prepared, ++position, value);
    int code = 0;
    while ((code = sqlite3_step(prepared)) == SQLITE_ROW) {
      const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(prepared, column));
      if (bytes) each(string_view(bytes, static_cast<std::size_t>(sqlite3_column_bytes(prepared, column))));
    }
    if (code != SQLITE_DONE) check(code);
  }

  std::optional<std::int64_t> number(const std::string& sql, const std::vector<SqlValue>& values = {}) {
    std::optional<std::int64_t> first;
    query(sql, values, 0, [&](string_view text) { first = Text::parseInteger(text); });
    return first;
  }

  std::set<std::string> columns(const std::string& table) {
    std::set<std::string> names;
    query("PRAGMA table_info(" + table + ")", {}, 1, [&](string_view name) { names.insert(Text::lowercase(name)); });
    return names;
  }

  std::int64_t insert(const std::string& table, const std::vector<Field>& fields) {
    const auto known = columns(table);
    if (known.empty()) refuse("no such table: " + table);
    std::vector<std::string> names;
    std::vector<SqlValue> values;
    for (const auto& field : fields) {
      const bool isKnown = known.contains(field.column);
      if (!isKnown && field.required) refuse("its table " + table + " has no column " + field.column);
      if (!isKnown) continue;
      names.emplace_back(field.column);
      values.push_back(field.value);
    }
    const auto marks = Text::join(std::vector<std::string>(names.size(), "?"), ", ");
    query("INSERT INTO " + table + " (" + Text::join(names, ", ") + ") VALUES (" + marks + ")", values, 0, {});
    return sqlite3_last_insert_rowid(get());
  }

 private:
  struct Close {
    void operator()(sqlite3* handle) const { sqlite3_close(handle); }  // what isn't committed is undone
  };
  struct Finalize {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };

  static void bind(sqlite3_stmt* statement, int position, const SqlValue& value) {
    if (const auto number = std::get_if<std::int64_t>(&value)) {
      sqlite3_bind_int64(statement, position, *number);
    } else {
      const auto text = std::get<string_view>(value);
      sqlite3_bind_text64(statement, position, text.data(), text.size(), SQLITE_STATIC, SQLITE_UTF8);
    }
  }

  sqlite3* get() const { return handle_.get(); }
  void check(int code) const {
    if (code != SQLITE_OK) refuse(sqlite3_errmsg(get()));
  }
  [[noreturn]] void refuse(const std::string& reason) const {
    throw Error("could not use " + file_.string() + ": " + reason);
  }

  fs::path file_;
  std::unique_ptr<sqlite3, Close> handle_;
};

// ---- Rows.

/// The handle's row, the one of our service where there are several.
std::int64_t handleRow(Connection& connection, const std::string& handle) {
  const std::string ours = connection.columns("handle").contains("service") ? "service = 'iMessage' DESC, " : "";
  const auto row = connection.number(
      "SELECT ROWID FROM handle WHERE replace(id, ' ', '') = ? COLLATE NOCASE ORDER BY " + ours + "ROWID LIMIT 1",
      {string_view(handle)});
  return row ? *row : connection.insert("handle", {{"id", handle, true}, {"service", service}});
}

void insertMessage(Connection& connection, const std::string& handle, string_view text) {
  const auto guid = Uuid::random();
  connection.insert("message", {{"guid", guid},
                                {"text", text, true},
                                {"handle_id", handleRow(connection, handle), true},
                                {"service", service},
                                {"date", messagesTime(Dates::now()), true},
                                {"is_from_me", std::int64_t{1}, true}});
}

/// One transaction, with tables in the file; undone as a whole when `work` throws.
void change(const fs::path& file, const std::function<void(Connection&)>& work) {
  Files::createDirectories(file.parent_path(), 0700);
  Files::createNew(file, "", 0600);  // SQLite would let others read it
  Connection connection(file, SQLITE_OPEN_READWRITE);
  connection.run("BEGIN IMMEDIATE");
  if (connection.number("SELECT COUNT(*) FROM sqlite_master") == 0) connection.run(tables);
  work(connection);
  connection.run("COMMIT");
}

// ---- Handles.

bool isPhoneNumber(string_view digits) {
  constexpr std::size_t longest = 20;  // of E.164 and what is dialled before it
  if (digits.starts_with('+')) digits.remove_prefix(1);
  return digits.size() >= 3 && digits.size() <= longest &&
         std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// ---- account.json.

std::string text(const Json& object, const char* field, const fs::path& file) {
  const auto found = object.find(field);
  if (found == object.end()) return "";
  if (!found->is_string()) throw Error("\"" + std::string(field) + "\" in " + file.string() + " is no text");
  const auto value = found->get<std::string>();
  return std::string(Text::trim(value));
}

}  // namespace

MessagesAccount MessagesAccount::read(const fs::path& file) {
  if (!Files::exists(file)) return {};
  const auto object = JsonText::parseObject(Files::readIfPossible(file).value_or(""));
  if (!object) throw Error(file.string() + " can't be read as a JSON object");
  return {.handle = text(*object, "handle", file), .send = text(*object, "send", file)};
}

std::optional<std::string> MessagesStore::handle(string_view text) {
  const auto trimmed = Text::trim(text);
  if (trimmed.starts_with('-')) return std::nullopt;  // a send command could take it for an option
  if (Mime::isAddress(trimmed)) return std::string(trimmed);
  std::string digits(trimmed);
  std::erase_if(digits, [](char c) { return string_view(" -./()").find(c) != string_view::npos; });
  return isPhoneNumber(digits) ? std::optional(digits) : std::nullopt;
}

std::vector<std::string> MessagesStore::handles() const {
  std::vector<std::string> found;
  if (!Files::exists(file_)) return found;
  Connection connection(file_, SQLITE_OPEN_READWRITE);
  connection.query("SELECT id FROM handle GROUP BY id ORDER BY MAX(ROWID) DESC", {}, 0,
                   [&](string_view id) { found.push_back(Text::repairUTF8(std::string(id))); });
  return found;
}

void MessagesStore::record(const std::string& handle, string_view text) const {
  change(file_, [&](Connection& connection) { insertMessage(connection, handle, text); });
}

void MessagesStore::rehearse(const std::string& handle, string_view text) const {
  change(file_, [&](Connection& connection) {
    connection.run("SAVEPOINT rehearsal");
    insertMessage(connection, handle, text);
    connection.run("ROLLBACK TO rehearsal");
  });
}
