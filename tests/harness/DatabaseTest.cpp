// The database under several processes, several versions and bad files: no line is lost, no schema version
// runs twice, and what can't be opened is named and left alone.
#include <sqlite3.h>

#include "TavroCore/harness/TavroDB.h"
#include "tests/harness/Home.h"

namespace {

constexpr const char* versions[] = {"audit_v1", "policy_rules_v1", "feedback_v1", "feedback_v2_pending"};

AuditEntry line(const std::string& actor, const std::string& action) {
  return {.timestamp = "", .actor = actor, .action = action, .outcome = "executed"};
}

class DatabaseTest : public HomeTest {
 protected:
  std::unique_ptr<GRDBQueue> raw() const { return GRDBQueue::open(home / "tavro.sqlite", Migrator()); }
  long long integer(const std::string& sql) const {
    long long value = 0;
    raw()->read([&](Database& database) { value = database.integer(sql); });
    return value;
  }
  void expectFailureThatNamesTheFile() const {
    try {
      TavroDB database;
      FAIL() << "it opened";
    } catch (const DatabaseError& failure) {
      EXPECT_THAT(failure.description(), testing::HasSubstr(home / "tavro.sqlite"));
    }
  }
};

TEST_F(DatabaseTest, losesNoLineOfProcessesThatOpenAFreshHomeAndWriteAtOnce) {
  constexpr int processes = 6, lines = 40;
  write(user / "data/tavro/config.json", "{}");
  inProcesses(processes, [](int number) {
    TavroDB database;
    for (int i = 0; i < lines; ++i) database.audit.append(line(std::to_string(number), std::to_string(i)));
  });
  TavroDB database;
  std::map<std::string, int> next;
  auto all = database.audit.recent(-1);
  EXPECT_EQ(all.size(), processes * lines);
  for (auto entry = all.rbegin(); entry != all.rend(); ++entry) {
    EXPECT_EQ(entry->action, std::to_string(next[entry->actor]++)) << "each process's lines in its order";
  }
  EXPECT_EQ(integer("SELECT COUNT(*) FROM grdb_migrations"), std::size(versions));
  EXPECT_THAT(Files::list(home), testing::ElementsAre(".gitignore", ".migrated", "config.json", "tavro.sqlite"));
  EXPECT_EQ(std::filesystem::status(home).permissions(), std::filesystem::perms::owner_all);
}

TEST_F(DatabaseTest, bringsAnOlderFileUpToDateAndLeavesANewerOneAlone) {
  std::filesystem::create_directories(home);
  Migrator first;
  AuditDB::registerMigrations(first);
  GRDBQueue::open(home / "tavro.sqlite", first);
  TavroDB(home).audit.append(line("mcp", "mail.send"));
  for (const char* version : versions) {
    EXPECT_EQ(integer(std::string("SELECT COUNT(*) FROM grdb_migrations WHERE identifier = '") + version + "'"), 1);
  }
  raw()->write([](Database& database) {
    database.executeScript("INSERT INTO grdb_migrations VALUES ('audit_v9'); ALTER TABLE audit ADD COLUMN new TEXT;");
  });
  TavroDB reopened(home);
  reopened.audit.append(line("mcp", "mail.move"));
  EXPECT_EQ(reopened.audit.recent(5).size(), 2);
  EXPECT_EQ(integer("SELECT COUNT(*) FROM grdb_migrations"), std::size(versions) + 1);
}

TEST_F(DatabaseTest, takesAFileBackFromWriteAheadLogging) {
  TavroDB(home).audit.append(line("mcp", "mail.send"));
  sqlite3* other = nullptr;
  ASSERT_EQ(sqlite3_open((home / "tavro.sqlite").c_str(), &other), SQLITE_OK);
  EXPECT_EQ(sqlite3_exec(other, "PRAGMA journal_mode = WAL", nullptr, nullptr, nullptr), SQLITE_OK);
  sqlite3_close(other);
  TavroDB database(home);
  EXPECT_EQ(database.audit.count(), 1);
  EXPECT_EQ(read(home / "tavro.sqlite").substr(18, 2), "\1\1") << "the header's mark of a rollback journal";
}

TEST_F(DatabaseTest, appliesAVersionWholeOrNotAtAll) {
  std::filesystem::create_directories(home);
  Migrator broken;
  broken.registerMigration("good", "CREATE TABLE good (id TEXT)");
  broken.registerMigration("bad", "CREATE TABLE half (id TEXT); CREATE TABLE good (id TEXT)");
  EXPECT_THROW(GRDBQueue::open(home / "tavro.sqlite", broken), DatabaseError);
  EXPECT_EQ(integer("SELECT COUNT(*) FROM grdb_migrations WHERE identifier = 'good'"), 1);
  EXPECT_EQ(integer("SELECT COUNT(*) FROM sqlite_master WHERE name = 'half'"), 0);
}

TEST_F(DatabaseTest, namesWhatStandsInTheWayAndLeavesItAlone) {
  const std::string garbage(5000, 'x');
  write(home / "tavro.sqlite", garbage);
  expectFailureThatNamesTheFile();
  EXPECT_EQ(read(home / "tavro.sqlite"), garbage);
  std::filesystem::remove(home / "tavro.sqlite");
  std::filesystem::create_directories(home / "tavro.sqlite");
  expectFailureThatNamesTheFile();
  ::setenv("TAVRO_HOME", "/dev/null/home", 1);
  EXPECT_THROW(TavroDB(), FileFailure);
}

TEST(Facades, answerWithNothingWithoutADatabase) {
  AuditLog log(nullptr);
  log.log("mcp", "mail.send", std::nullopt, {}, "executed", std::nullopt);
  EXPECT_EQ(log.count() + log.mutationsToday() + log.purge(1), 0);
  EXPECT_TRUE(log.recent(5).empty() && RuleStore(nullptr).all()->empty() && !RuleStore(nullptr).get("x"));
}

TEST(GRDBQueue, keepsNothingOfAWriteThatThrows) {
  auto queue = GRDBQueue::open(":memory:", Migrator());
  queue->write([](Database& database) { database.executeScript("CREATE TABLE t (x TEXT)"); });
  const auto failing = [](Database& database) {
    EXPECT_EQ(database.execute("INSERT INTO t VALUES (?), (?), (?)", {std::string_view("lost"), 2.5, {}}), 3);
    database.execute("INSERT INTO nowhere VALUES (1)");
  };
  EXPECT_THROW(queue->write(failing), DatabaseError);
  queue->write([](Database& database) { EXPECT_EQ(database.integer("SELECT COUNT(*) FROM t"), 0); });
}

}  // namespace
