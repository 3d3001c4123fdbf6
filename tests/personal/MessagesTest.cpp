// Guards what the agent is shown of the owner's messages, and that looking at them changes nothing: the file is
// another program's, which may have it open, in any mode, with anything in it.
#include <sqlite3.h>
#include <sys/stat.h>

#include "Platform/Dates.h"
#include "Platform/Text.h"
#include "TavroCore/harness/GRDBQueue.h"
#include "TavroCore/personal/MessagesDB.h"
#include "tests/personal/PersonalDesk.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

const std::string tables =
    "CREATE TABLE handle (ROWID INTEGER PRIMARY KEY AUTOINCREMENT UNIQUE, id TEXT NOT NULL, country TEXT, service TEXT "
    "NOT NULL, UNIQUE (id, service));"
    "CREATE TABLE message (ROWID INTEGER PRIMARY KEY AUTOINCREMENT, guid TEXT UNIQUE NOT NULL, text TEXT, handle_id "
    "INTEGER DEFAULT 0, service TEXT, date INTEGER, is_from_me INTEGER DEFAULT 0, cache_has_attachments INTEGER);"
    "INSERT INTO handle (id, service) VALUES ('+49 170 1111111', 'iMessage'), ('eva@home.example', 'iMessage');";
const std::string ten = "794998800000000000";   // 2026-03-12 10:00:00 in Berlin
const std::string noon = "795006000000000000";  // 12:00:00

/// Another program's connection to a file.
class Writer {
 public:
  explicit Writer(const std::filesystem::path& file) { sqlite3_open(file.c_str(), &handle_); }
  ~Writer() { sqlite3_close(handle_); }
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  void run(const std::string& sql) const {
    ASSERT_EQ(sqlite3_exec(handle_, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(handle_);
  }

 private:
  sqlite3* handle_ = nullptr;
};

class MessagesTest : public PersonalDesk {
 protected:
  MessagesTest() {
    ::setenv("HOME", user.c_str(), 1);
    std::filesystem::create_directories(file.parent_path());
  }

  void sql(const std::string& statements) const { Writer(file).run(statements); }
  /// A message of the handle's row; `date` and `text` are SQL.
  static std::string received(const std::string& date, const std::string& text, int handle = 1, int isFromMe = 0) {
    return "INSERT INTO message (guid, text, handle_id, date, is_from_me) VALUES (hex(randomblob(8)), " + text + ", " +
           std::to_string(handle) + ", " + date + ", " + std::to_string(isFromMe) + ");";
  }
  static std::string read(const std::string& args = "") { return callTool("imessage.read", args); }

  /// All that reading could change.
  std::string state() const {
    std::string all;
    for (const auto& name : Files::list(file.parent_path())) {
      struct stat status {};
      ::stat((file.parent_path() / name).c_str(), &status);
      all += name + std::to_string(status.st_mtim.tv_sec) + "." + std::to_string(status.st_mtim.tv_nsec) +
             get(file.parent_path() / name);
    }
    return all;
  }

  const std::filesystem::path user = directory / "50% #1?immutable=0";  // marks that a URI would need escaped
  const std::filesystem::path file = user / "Library/Messages/chat.db";
};

TEST_F(MessagesTest, showsWhatCameInTheNewestFirst) {
  sql(tables + received(ten, "'Hello'") + received(noon, "'two' || char(10) || 'lines'", 2) + received(noon, "''") +
      received(noon, "NULL") + received(noon, "'mine'", 1, 1) + received(noon, "'of nobody'", 99));
  EXPECT_EQ(read(),
            "2026-03-12 12:00:00 || eva@home.example || two\nlines\n"
            "2026-03-12 10:00:00 || +49 170 1111111 || Hello");
  EXPECT_THAT(
      MessagesDB::recentInbound({}, {}, {}, 1),
      ElementsAre(MessagesDB::InboundMessage{"2026-03-12 12:00:00", 1773313200, "eva@home.example", "two\nlines"}));
}

TEST_F(MessagesTest, showsThoseThatAreAskedFor) {
  sql(tables + received(ten, "'50% off'") + received(noon, "'500 Euro'", 2));
  const Dates::FixedClock clock(*Dates::parseISO8601("2026-03-12T11:30:00Z"));  // 12:30 in Berlin
  const std::vector<std::pair<std::string, std::vector<std::string>>> cases = {
      {"50% off", {"from=+491701111111", "from=+ 4 9 170 11 11 111", "contains=50%off"}},
      {"500 Euro", {"from=eva@home.example;contains=EURO", "contains=0_Euro", "since=31", "limit=1"}},
      {"500 Euro, 50% off",
       {"from=", "since=151", "since=", "since=x", "since=31.5", "since=9223372036854775807", "limit=x", "limit=-1",
        "limit=9223372036854775807"}},
      {"",
       {"from=+49170", "from=170 1111111", "from=Eva@home.example", "contains=' OR 1=1 --", "since=29", "since=30",
        "since=0", "since=-1", "since=-9223372036854775808", "limit=0"}}};
  const auto textsOf = [](const std::string& answer) {
    std::vector<std::string> texts;
    for (const auto& message : Text::split(answer, '\n'))
      if (const auto at = message.rfind(" || "); at != message.npos) texts.push_back(message.substr(at + 4));
    return Text::join(texts, ", ");
  };
  for (const auto& [texts, calls] : cases)
    for (const auto& args : calls) EXPECT_EQ(textsOf(read(args)), texts) << args;
  EXPECT_EQ(read("contains=nothing"), "(no matching inbound messages)");
  EXPECT_THAT(read("contains=" + std::string(60'000, 'x')), HasSubstr("too complex"));
  for (int i = 0; i < 60; ++i) sql(received(ten, "'x'"));
  for (const char* limit : {"", "limit=", "limit=many", "limit=9223372036854775808"})
    EXPECT_EQ(Text::lines(read(limit)).size(), 50u) << limit;
}

TEST_F(MessagesTest, makesSoundTextsOfAnyRow) {
  const std::vector<std::pair<std::string, std::string>> dates = {
      {"0", "2001-01-01 01:00:00"},
      {"NULL", "2001-01-01 01:00:00"},
      {"'soon'", "2001-01-01 01:00:00"},
      {"794998800000000000.0", "2026-03-12 10:00:00"},
      {"1e300", "2293-04-12 01:47:16"},
      {"9223372036854775807", "2293-04-12 01:47:16"},
      {"-9223372036854775808", "1708-09-22 01:06:11"},
      {"-1000000000", "2001-01-01 00:59:59"},
      {"796438799000000000", "2026-03-29 01:59:59"},  // the clock goes forward
      {"796438800000000000", "2026-03-29 03:00:00"}};
  sql(tables);
  for (const auto& [date, text] : dates) {
    sql("DELETE FROM message;" + received(date, "'x'"));
    EXPECT_THAT(read(), StartsWith(text + " || ")) << date;
  }
  const std::string repaired = "\uFFFDb";
  const std::vector<std::pair<std::string, std::string>> texts = {{"x'FF62'", repaired},
                                                                  {"CAST(x'FF62' AS TEXT)", repaired},
                                                                  {"CAST(x'610062' AS TEXT)", {"a\0b", 3}},
                                                                  {"zeroblob(2)", {"\0\0", 2}},
                                                                  {"12", "12"}};
  sql("UPDATE handle SET id = x'2BFF' WHERE ROWID = 1");
  for (const auto& [text, shown] : texts) {
    sql("DELETE FROM message;" + received("0", text));
    EXPECT_EQ(read(), "2001-01-01 01:00:00 || +\uFFFD || " + shown) << text;
  }
}

// ---- Files that can't be read, and files that mustn't be changed.

TEST_F(MessagesTest, saysWhyTheFileCannotBeRead) {
  const auto refusal =
      "chat.db not readable (grant Full Disk Access): could not open the database " + file.string() + ": ";
  EXPECT_EQ(read(), refusal + "unable to open database file (No such file or directory)");
  ::mkfifo(file.c_str(), 0600);
  EXPECT_EQ(read(), refusal + "it is a pipe");
  std::filesystem::remove(file);
  put(file, "Dear diary, this is no database, however long it may be. " + std::string(4000, 'x'));
  EXPECT_EQ(read(), refusal + "file is not a database");
  EXPECT_THAT(Files::list(file.parent_path()), ElementsAre("chat.db"));
  for (const char* shape : {"", "CREATE TABLE notes (id)"}) {  // to be opened, but of another kind
    put(file, "");
    sql(shape);
    EXPECT_THAT(read(), AllOf(HasSubstr("no such table: message"), Not(HasSubstr("Full Disk Access"))));
  }
}

TEST_F(MessagesTest, readsWhileAnotherProgramWrites) {
  for (const char* mode : {"WAL", "DELETE"}) {
    sql("PRAGMA journal_mode = " + std::string(mode) + "; DROP TABLE IF EXISTS message; DROP TABLE IF EXISTS handle;" +
        tables);
    const Writer writer(file);
    writer.run(received(ten, "'Hello'"));
    writer.run("BEGIN IMMEDIATE;" + received(noon, "'half done'"));
    EXPECT_THAT(read(), AllOf(HasSubstr("Hello"), Not(HasSubstr("half done")))) << mode;
    writer.run("COMMIT");
    EXPECT_THAT(read(), HasSubstr("half done")) << mode;
  }
  const Writer writer(file);
  writer.run("BEGIN EXCLUSIVE");
  EXPECT_THAT(read(), AllOf(StartsWith("chat.db not readable"), HasSubstr("database is locked")));
}

TEST_F(MessagesTest, leavesEveryKindOfFileAsItWas) {
  const auto hello = tables + received(ten, "'Hello'");
  const std::vector<std::pair<const char*, std::function<void()>>> kinds = {
      {"rollback journal", [&] { sql(hello); }},
      {"WAL, closed", [&] { sql("PRAGMA journal_mode = WAL;" + hello); }},
      {"WAL, an empty log", [&] { sql("PRAGMA journal_mode = WAL;" + hello), put(file.string() + "-wal", ""); }},
      {"WAL, a copy taken while it was open", [&] {
         const auto original = directory / "original.db";
         const Writer writer(original);
         writer.run("PRAGMA journal_mode = WAL;" + hello);
         for (const char* end : {"", "-wal"}) std::filesystem::copy(original.string() + end, file.string() + end);
       }}};
  for (const auto& [kind, make] : kinds) {
    make();
    const auto before = state();
    EXPECT_THAT(read(), HasSubstr("Hello")) << kind;
    EXPECT_EQ(state(), before) << kind;
    Files::setMode(file.parent_path(), 0500);  // nothing can be made beside it, unless we are root
    EXPECT_THAT(read(), HasSubstr("Hello")) << kind;
    Files::setMode(file.parent_path(), 0700);
    for (const auto& name : Files::list(file.parent_path())) std::filesystem::remove(file.parent_path() / name);
  }
}

TEST_F(MessagesTest, tellsThatAFileChangedWhileItWasReadWithoutLocks) {
  sql("PRAGMA journal_mode = WAL;" + tables);
  const auto queue = GRDBQueue::openReadOnly(file);
  const auto look = [](Database& database) { EXPECT_EQ(database.integer("SELECT COUNT(*) FROM message"), 0); };
  queue->read(look);
  sql(received(noon, "'New'"));
  EXPECT_THROW(queue->read(look), DatabaseError);
}

// ---- Sending.

TEST_F(MessagesTest, checksTheArgumentsOfWhatIsSentInTheirOrder) {
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
}

TEST_F(MessagesTest, recordsWhatIsSentBesideWhatCame) {
  EXPECT_EQ(callTool("imessage.send", {{"to", "+49 170 1111111"}, {"text", "\"It's\" me\n\\ $HOME -- ;"}}),
            "OK imessage sent to +49 170 1111111");
  put(home / "config.json", R"({"notifyIMessageHandle": " owner@home.example\n"})");
  EXPECT_EQ(callTool("imessage.notify", "to=+49999;text=Done"), "OK imessage sent to owner@home.example");
  EXPECT_THAT(callTool("imessage.send", "to=Eva;text=x"), HasSubstr("Can’t get participant \"Eva\" of account"));
  EXPECT_EQ(read(), "(no matching inbound messages)");
  sql(received("0", "'Answer'"));
  EXPECT_EQ(read("from=+49 170 1111111"), "2001-01-01 01:00:00 || +491701111111 || Answer");
  sql("UPDATE message SET is_from_me = 0, date = ROWID * 1000000000");  // as if all had come in
  EXPECT_EQ(read(),
            "2001-01-01 01:00:03 || +491701111111 || Answer\n"
            "2001-01-01 01:00:02 || owner@home.example || Done\n"
            "2001-01-01 01:00:01 || +491701111111 || \"It's\" me\n\\ $HOME -- ;");
}

}  // namespace
