// Guards what the agent is shown of the owner's messages, and that looking at them changes nothing: the file is
// another program's, which may have it open, in any mode, with anything in it.
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <limits>

#include "Platform/Dates.h"
#include "TavroCore/harness/GRDBQueue.h"
#include "TavroCore/personal/MessagesDB.h"
#include "tests/personal/PersonalDesk.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

constexpr const char* tables =
    "CREATE TABLE handle (ROWID INTEGER PRIMARY KEY AUTOINCREMENT UNIQUE, id TEXT NOT NULL, country TEXT, service TEXT "
    "NOT NULL, UNIQUE (id, service));"
    "CREATE TABLE message (ROWID INTEGER PRIMARY KEY AUTOINCREMENT, guid TEXT UNIQUE NOT NULL, text TEXT, handle_id "
    "INTEGER DEFAULT 0, service TEXT, date INTEGER, is_from_me INTEGER DEFAULT 0, cache_has_attachments INTEGER);"
    "INSERT INTO handle (id, service) VALUES ('+49 170 1111111', 'iMessage'), ('eva@home.example', 'iMessage');";

/// Another program's connection to a file.
class Writer {
 public:
  explicit Writer(const std::filesystem::path& file) { sqlite3_open(file.c_str(), &handle_); }
  ~Writer() { sqlite3_close(handle_); }
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  void run(const std::string& sql) const {
    char* problem = nullptr;
    sqlite3_exec(handle_, sql.c_str(), nullptr, nullptr, &problem);
    ASSERT_EQ(problem, nullptr) << sql << ": " << problem;
  }

 private:
  sqlite3* handle_ = nullptr;
};

class MessagesTest : public PersonalDesk {
 protected:
  MessagesTest() { std::filesystem::create_directories(file.parent_path()); }

  void sql(const std::string& statements) const { Writer(file).run(statements); }
  /// A message of the handle's row; `date` and `text` are SQL.
  static std::string received(const std::string& date, const std::string& text, int handle = 1, int isFromMe = 0) {
    return "INSERT INTO message (guid, text, handle_id, date, is_from_me) VALUES (hex(randomblob(8)), " + text + ", " +
           std::to_string(handle) + ", " + date + ", " + std::to_string(isFromMe) + ");";
  }
  static std::string read(const std::string& args = "") { return callTool("imessage.read", args); }
  std::vector<std::string> names() const { return Files::list(file.parent_path()); }

  /// All that reading could change.
  std::string state() const {
    std::string all;
    for (const auto& name : names()) {
      struct stat status {};
      ::stat((file.parent_path() / name).c_str(), &status);
      if (!name.ends_with("-shm")) all += get(file.parent_path() / name) + std::to_string(status.st_mtim.tv_nsec);
      all += name + std::to_string(status.st_mtim.tv_sec) + "\n";
    }
    return all;
  }

  const std::filesystem::path file = directory / "Library/Messages/chat.db";
  const std::string day = "794998800000000000";   // 2026-03-12 10:00:00 in Berlin
  const std::string noon = "795006000000000000";  // 12:00:00
};

// ---- What is shown.

TEST_F(MessagesTest, showsWhatCameInTheNewestFirst) {
  sql(tables + received(day, "'Hello'") + received(noon, "'two' || char(10) || 'lines'", 2) + received(noon, "''") +
      received(noon, "NULL") + received(noon, "'mine'", 1, 1) + received(noon, "'of nobody'", 99));
  EXPECT_EQ(read(),
            "2026-03-12 12:00:00 || eva@home.example || two\nlines\n2026-03-12 10:00:00 || +49 170 1111111 || Hello");
  EXPECT_EQ(read("contains=nothing"), "(no matching inbound messages)");
  EXPECT_THAT(
      MessagesDB::recentInbound({}, {}, {}, 1),
      ElementsAre(MessagesDB::InboundMessage{"2026-03-12 12:00:00", 1773313200, "eva@home.example", "two\nlines"}));
}

TEST_F(MessagesTest, asksForWholeHandlesAndForPatternsInTexts) {
  sql(tables + received(day, "'50% off'") + received(noon, "'500 Euro'", 2));
  const std::vector<std::pair<std::string, std::vector<std::string>>> cases = {
      {"from=+491701111111", {"50% off"}},
      {"from=+ 4 9 170 11 11 111", {"50% off"}},
      {"from=+49170", {}},
      {"from=170 1111111", {}},
      {"from=Eva@home.example", {}},
      {"from=eva@home.example;contains=EURO", {"500 Euro"}},
      {"from=", {"500 Euro", "50% off"}},
      {"contains=50%off", {"50% off"}},  // "%" stands for any text, also for none
      {"contains=0_Euro", {"500 Euro"}},
      {"contains=' OR 1=1 --", {}},
      {"from=", {"500 Euro", "50% off"}},
  };
  for (const auto& [args, texts] : cases) {
    const auto given = arguments(args);
    std::vector<std::string> found;
    for (const auto& message : MessagesDB::recentInbound(argument(given, "from"), {}, argument(given, "contains"), 50))
      found.push_back(message.text);
    EXPECT_EQ(found, texts) << args;
  }
  EXPECT_THAT(read("contains=" + std::string(60'000, 'x')), HasSubstr("too complex"));
}

TEST_F(MessagesTest, countsMinutesBackFromNow) {
  sql(tables + received(day, "'old'") + received(noon, "'new'"));
  const Dates::FixedClock clock(*Dates::parseISO8601("2026-03-12T11:30:00Z"));  // 12:30 in Berlin
  const std::vector<std::pair<std::string, bool>> cases = {{"29", false},
                                                           {"31", true},
                                                           {"149", true},
                                                           {"-1", false},
                                                           {"0", false},
                                                           {"x", true},
                                                           {"31.5", true},
                                                           {"", true},
                                                           {"9223372036854775807", true},
                                                           {"-9223372036854775808", false}};
  for (const auto& [since, isShown] : cases)
    EXPECT_EQ(read("since=" + since).find("new") != std::string::npos, isShown) << since;
  EXPECT_THAT(read("since=30"), HasSubstr("no matching"));  // later than the bound, not at it
  EXPECT_THAT(read("since=31"), testing::Not(HasSubstr("old")));
  EXPECT_THAT(read("since=yesterday"), HasSubstr("old"));
}

TEST_F(MessagesTest, showsFiftyUnlessTheLimitIsANumber) {
  std::string rows = tables;
  for (int i = 0; i < 60; ++i) rows += received(day, "'" + std::to_string(i) + "'");
  sql(rows);
  const auto lines = [](const std::string& args) {
    const auto text = read(args);
    return text.starts_with("(") ? 0 : std::count(text.begin(), text.end(), '\n') + 1;
  };
  EXPECT_EQ(lines(""), 50);
  EXPECT_EQ(lines("limit="), 50);
  EXPECT_EQ(lines("limit=many"), 50);
  EXPECT_EQ(lines("limit=9223372036854775808"), 50);  // no number of 64 bits
  EXPECT_EQ(lines("limit=7"), 7);
  EXPECT_EQ(lines("limit=0"), 0);
  EXPECT_EQ(lines("limit=-1"), 60);
  EXPECT_EQ(lines("limit=9223372036854775807"), 60);
}

TEST_F(MessagesTest, makesSoundTextsOfAnyRow) {
  const std::vector<std::pair<std::string, std::string>> dates = {
      {"0", "2001-01-01 01:00:00"},
      {"NULL", "2001-01-01 01:00:00"},
      {"'soon'", "2001-01-01 01:00:00"},
      {"'" + day + "'", "2026-03-12 10:00:00"},
      {"794998800000000000.0", "2026-03-12 10:00:00"},
      {"1e300", "2293-04-12 01:47:16"},
      {"9223372036854775807", "2293-04-12 01:47:16"},
      {"-9223372036854775808", "1708-09-22 01:06:11"},
      {"-1", "2001-01-01 01:00:00"},  // a nanosecond is below what a real can tell apart there
      {"-1000000000", "2001-01-01 00:59:59"},
      {"796438799000000000", "2026-03-29 01:59:59"},  // the clock goes forward
      {"796438800000000000", "2026-03-29 03:00:00"},
  };
  for (const auto& [date, text] : dates) {
    sql("DROP TABLE IF EXISTS message; DROP TABLE IF EXISTS handle;" + (tables + received(date, "'x'")));
    EXPECT_THAT(read(), StartsWith(text + " || ")) << date;
  }
  const std::vector<std::pair<std::string, std::string>> texts = {
      {"x'61FF62'",
       "a\uFFFD"
       "b"},
      {"CAST(x'61FF62' AS TEXT)",
       "a\uFFFD"
       "b"},
      {"CAST(x'610062' AS TEXT)", std::string("a\0b", 3)},
      {"zeroblob(2)", std::string("\0\0", 2)},
      {"12", "12"},
      {"'a || b'", "a || b"},
  };
  for (const auto& [text, shown] : texts) {
    sql("DELETE FROM message; UPDATE handle SET id = x'2BFF' WHERE ROWID = 1;" + received("0", text));
    EXPECT_EQ(read(), "2001-01-01 01:00:00 || +\uFFFD || " + shown) << text;
  }
}

// ---- Files that can't be read, and files that mustn't be changed.

TEST_F(MessagesTest, saysWhyTheFileCannotBeRead) {
  const std::string refusal =
      "chat.db not readable (grant Full Disk Access): could not open the database " + file.string() + ": ";
  EXPECT_EQ(read(), refusal + "unable to open database file (No such file or directory)");
  EXPECT_THAT(names(), IsEmpty());

  std::filesystem::create_directory(file);
  EXPECT_THAT(read(), StartsWith(refusal));
  std::filesystem::remove(file);

  put(file, "Dear diary, this is no database, however long it may be. " + std::string(4000, 'x'));
  EXPECT_EQ(read(), refusal + "file is not a database");
  std::filesystem::remove(file);

  sql(tables + received(day, "'x'"));
  auto bytes = get(file);
  bytes.replace(100, 60, std::string(60, '\xFF'));
  put(file, bytes);
  EXPECT_EQ(read(), refusal + "database disk image is malformed");
  EXPECT_THAT(names(), ElementsAre("chat.db"));
}

TEST_F(MessagesTest, tellsAFileOfAnotherShapeFromOneThatCannotBeRead) {
  sql("CREATE TABLE notes (id)");
  EXPECT_THAT(read(), HasSubstr("no such table: message"));
  EXPECT_THAT(read(), testing::Not(HasSubstr("Full Disk Access")));
  put(file, "");
  EXPECT_THAT(read(), HasSubstr("no such table: message"));
}

TEST_F(MessagesTest, bearsAFileCutOrDamagedAnywhere) {
  std::string rows = tables;
  for (int i = 0; i < 40; ++i) rows += received(day, "'" + std::string(200, 'x') + "'");
  sql(rows);
  const auto whole = get(file);
  for (std::size_t at = 0; at < whole.size(); at += 211) {
    put(file, whole.substr(0, at));
    read();
    auto damaged = whole;
    damaged[at] = static_cast<char>(damaged[at] ^ 0xFF);
    put(file, damaged);
    EXPECT_FALSE(read().empty()) << at;
  }
  EXPECT_THAT(names(), ElementsAre("chat.db"));
}

/// Holds a statement's lock in a process of its own: within one process, locks don't keep anybody out for long.
class Locked {
 public:
  Locked(const std::filesystem::path& file, const std::string& begin) {
    int ready[2];
    EXPECT_EQ(::pipe2(ready, O_CLOEXEC), 0);
    child_ = ::fork();
    if (child_ == 0) {
      const Writer writer(file);
      writer.run(begin);
      EXPECT_EQ(::write(ready[1], "x", 1), 1);
      ::pause();
    }
    char byte = 0;
    EXPECT_EQ(::read(ready[0], &byte, 1), 1);
    ::close(ready[0]);
    ::close(ready[1]);
  }
  ~Locked() {
    ::kill(child_, SIGKILL);
    ::waitpid(child_, nullptr, 0);
  }
  Locked(const Locked&) = delete;
  Locked& operator=(const Locked&) = delete;

 private:
  pid_t child_ = 0;
};

TEST_F(MessagesTest, readsBesideAWriterAndGivesUpOnALockThatStays) {
  sql(tables + received(day, "'Hello'"));
  {
    const Locked writer(file, "BEGIN IMMEDIATE;" + received(noon, "'half done'"));
    EXPECT_THAT(read(), HasSubstr("Hello"));
    EXPECT_THAT(read(), testing::Not(HasSubstr("half done")));
  }
  const Locked writer(file, "BEGIN EXCLUSIVE");
  EXPECT_THAT(read(), testing::AllOf(StartsWith("chat.db not readable"), HasSubstr("database is locked")));
}

TEST_F(MessagesTest, readsAFileInWALModeWhileItsProgramWrites) {
  sql("PRAGMA journal_mode = WAL;" + (tables + received(day, "'Hello'")));
  const Writer writer(file);
  writer.run(received(noon, "'still in the log'"));
  writer.run("BEGIN IMMEDIATE;" + received(noon, "'half done'"));
  EXPECT_THAT(read(),
              testing::AllOf(HasSubstr("still in the log\n"), HasSubstr("Hello"), testing::Not(HasSubstr("half"))));
  writer.run("COMMIT");
  EXPECT_THAT(read(), HasSubstr("half done"));
}

TEST_F(MessagesTest, leavesEveryKindOfFileAsItWas) {
  const auto hello = tables + received(day, "'Hello'");
  const std::vector<std::pair<const char*, std::function<void()>>> kinds = {
      {"rollback journal", [&] { sql(hello); }},
      {"WAL, closed", [&] { sql("PRAGMA journal_mode = WAL;" + hello); }},
      {"WAL, a copy that was taken while it was open",
       [&] {
         const auto original = directory / "original.db";
         const Writer writer(original);
         writer.run("PRAGMA journal_mode = WAL;" + hello);
         std::filesystem::copy(original, file);
         std::filesystem::copy(original.string() + "-wal", file.string() + "-wal");
       }},
      {"WAL, an empty log left behind",
       [&] {
         sql("PRAGMA journal_mode = WAL;" + hello);
         put(file.string() + "-wal", "");
       }},
  };
  for (const auto& [kind, make] : kinds) {
    make();
    const auto before = state();
    EXPECT_THAT(read(), HasSubstr("Hello")) << kind;
    EXPECT_EQ(state(), before) << kind;
    Files::setMode(file.parent_path(), 0500);  // nothing can be made beside it, unless we are root
    EXPECT_THAT(read(), HasSubstr("Hello")) << kind;
    Files::setMode(file.parent_path(), 0700);
    for (const auto& name : names()) std::filesystem::remove(file.parent_path() / name);
  }
}

TEST_F(MessagesTest, readsAFileWhosePathHasMarksOfAURI) {
  const auto odd = directory / "50% #1?immutable=0";
  ::setenv("HOME", odd.c_str(), 1);
  const auto there = odd / "Library/Messages/chat.db";
  std::filesystem::create_directories(there.parent_path());
  Writer(there).run("PRAGMA journal_mode = WAL;" + (tables + received(day, "'Hello'")));
  EXPECT_THAT(read(), HasSubstr("Hello"));
}

TEST_F(MessagesTest, tellsThatAFileChangedWhileItWasReadWithoutLocks) {
  sql("PRAGMA journal_mode = WAL;" + (tables + received(day, "'Hello'")));
  const auto queue = GRDBQueue::openReadOnly(file);
  queue->read([](Database& database) { EXPECT_EQ(database.integer("SELECT COUNT(*) FROM message"), 1); });
  sql(received(noon, "'New'"));
  EXPECT_THROW(queue->read([](Database& database) { database.integer("SELECT COUNT(*) FROM message"); }),
               DatabaseError);
  EXPECT_THROW(
      GRDBQueue::openReadOnly(file)->write([](Database& database) { database.execute("DELETE FROM message"); }),
      DatabaseError);
}

// ---- Sending.

TEST_F(MessagesTest, checksTheArgumentsOfWhatIsSentInTheirOrder) {
  EXPECT_EQ(callTool("imessage.send"), "missing required argument: to");
  EXPECT_EQ(callTool("imessage.send", "to=;text=x"), "missing required argument: to");
  EXPECT_EQ(callTool("imessage.send", "to=+491701111111;text="), "missing required argument: text");
  const std::string unset = "missing required argument: notify iMessage handle (set it in Settings → Notifications)";
  EXPECT_EQ(callTool("imessage.notify", "to=+491701111111;text=x"), unset);
  put(home / "config.json", R"({"notifyIMessageHandle": " \n\t"})");
  EXPECT_EQ(callTool("imessage.notify"), unset);
  put(home / "config.json", R"({"notifyIMessageHandle": "+49 170 1111111\n"})");
  EXPECT_EQ(callTool("imessage.notify"), "missing required argument: text");
  EXPECT_THAT(callTool("imessage.send", "to=eva@home.example;text=" + std::string(200'000, 'x')),
              HasSubstr("200000 bytes"));
  EXPECT_FALSE(Files::exists(file));
}

TEST_F(MessagesTest, recordsWhatIsSentBesideWhatCame) {
  EXPECT_EQ(callTool("imessage.send", {{"to", "+49 170 1111111"}, {"text", "\"It's\" me\n\\ $HOME -- ;"}}),
            "OK imessage sent to +49 170 1111111");
  put(home / "config.json", R"({"notifyIMessageHandle": " owner@home.example\n"})");
  EXPECT_EQ(callTool("imessage.notify", "to=+49999;text=Done"), "OK imessage sent to owner@home.example");
  EXPECT_EQ(read(), "(no matching inbound messages)");
  sql(received("0", "'Answer'"));
  EXPECT_EQ(read("from=+49 170 1111111"), "2001-01-01 01:00:00 || +491701111111 || Answer");

  std::vector<std::string> rows;
  GRDBQueue::openReadOnly(file)->read([&](Database& database) {
    database.query(
        "SELECT m.*, h.id AS handle FROM message m JOIN handle h ON m.handle_id = h.ROWID WHERE is_from_me = 1", {},
        [&](const Row& row) {
          rows.push_back(*row.text("handle") + ": " + *row.text("text"));
          const auto age = Dates::now().time_since_epoch() / std::chrono::seconds(1) - 978307200 -
                           row.integer("date") / 1'000'000'000;
          EXPECT_TRUE(age >= 0 && age < 60) << age;
        });
  });
  EXPECT_THAT(rows, ElementsAre("+491701111111: \"It's\" me\n\\ $HOME -- ;", "owner@home.example: Done"));
  EXPECT_THAT(callTool("imessage.send", "to=Eva;text=x"), HasSubstr("Can’t get participant \"Eva\" of account"));
}

}  // namespace
