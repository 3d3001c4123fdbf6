// What the computer may do to us: disks that fill up, can't be written or are locked, files of any bytes, a kill at
// any moment. The action's outcome is told as it is, what was there stays, and no acknowledged line is lost.
#include <sqlite3.h>

#include <chrono>
#include <fstream>
#include <random>
#include <thread>

#include "Platform/Files.h"
#include "Platform/Json.h"
#include "tests/process/Programs.h"

namespace {

constexpr const char* executed = "# Tavro: operating manual";

class FaultsTest : public ProgramsTest {
 protected:
  // A home in the mode panic with one rule and one audit line.
  void settle() {
    std::filesystem::create_directories(home());
    std::ofstream(home() / "config.json") << settings;
    ASSERT_TRUE(tavro({"rule", "add", "--tool", "mail.*", "--decision", "ask", "--yes"}).status.ok());
    ASSERT_TRUE(tavro({"run", "how_it_works"}).status.ok());
  }
  static Variables faulty(Variables variables) {
    variables["LD_PRELOAD"] = program("libfaults.so");
    variables["ASAN_OPTIONS"] = "verify_asan_link_order=0:detect_leaks=0";
    return variables;
  }
  void expectAllThere() {
    EXPECT_EQ(Files::read(home() / "config.json"), settings);
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open((home() / "tavro.sqlite").c_str(), &database), SQLITE_OK);
    EXPECT_EQ(one(database, "PRAGMA integrity_check"), "ok");
    EXPECT_EQ(one(database, "SELECT COUNT(*) FROM policy_rules"), "1");
    EXPECT_NE(one(database, "SELECT COUNT(*) FROM audit"), "0");
    sqlite3_close(database);
    for (const auto& name : Files::listIfPossible(home() / "pending"))
      EXPECT_TRUE(JsonText::parseObject(*Files::read(home() / "pending" / name))) << name;
  }
  static std::string one(sqlite3* database, const char* sql) {
    sqlite3_stmt* statement = nullptr;
    EXPECT_EQ(sqlite3_prepare_v2(database, sql, -1, &statement, nullptr), SQLITE_OK);
    EXPECT_EQ(sqlite3_step(statement), SQLITE_ROW);
    std::string text = reinterpret_cast<const char*>(sqlite3_column_text(statement, 0));
    sqlite3_finalize(statement);
    return text;
  }

  const std::string settings = R"({"autonomyMode":"panic","notifyEmail":"a@example.org","mine":[1,2]})";
};

// One write after the other fails, alone (`TAVRO_FAULT_AT`) or with all that follow (`TAVRO_FAULT_FROM`).
TEST_F(FaultsTest, bearsAFaultAtEachWrite) {
  settle();
  for (const char* kind : {"TAVRO_FAULT_AT", "TAVRO_FAULT_FROM"}) {
    bool fired = true;
    int faults = 0;
    for (int n = 1; fired; ++n) {
      const auto marker = scratch_ / "fired";
      std::filesystem::remove(marker);
      Server server(faulty({{kind, std::to_string(n)}, {"TAVRO_FAULT_MARKER", marker.string()}}));
      EXPECT_THAT(server.call("how_it_works", {}), testing::StartsWith(executed));
      EXPECT_THAT(server.call("note_add", {{"title", "x"}}),
                  testing::AnyOf(testing::StartsWith("⏸ "), testing::StartsWith("❌ could not save pending: ")));
      EXPECT_EQ(server.end(), 0) << kind << " " << n;
      expectAllThere();
      fired = std::filesystem::exists(marker);
      faults += fired;
    }
    EXPECT_GT(faults, 5) << "the faults must reach the program";
  }
}

TEST_F(FaultsTest, readsOnWithAReadOnlyHome) {
  settle();
  const auto lines = audit().size();
  Server server(faulty({{"TAVRO_FAULT_READONLY", "1"}}));
  EXPECT_THAT(server.call("how_it_works", {}), testing::StartsWith(executed));
  EXPECT_THAT(server.call("note_add", {{"title", "x"}}), testing::StartsWith("❌ could not save pending: "));
  EXPECT_EQ(server.end(), 0);
  expectAllThere();
  EXPECT_EQ(audit().size(), lines);
}

TEST_F(FaultsTest, runsWithoutAHomeItCanMake) {
  std::ofstream(home()) << "a file where the home should be";
  Server server({});
  EXPECT_THAT(server.call("how_it_works", {}), testing::StartsWith(executed));
  EXPECT_THAT(server.call("note_delete", {{"name", "x"}}), testing::StartsWith("❌ could not save pending: "));
  EXPECT_EQ(server.end(), 0);
  EXPECT_EQ(Files::read(home()), "a file where the home should be");
  const auto told = tavro({"audit"});
  EXPECT_EQ(told.status.code, 1);
  EXPECT_THAT(told.errors, testing::HasSubstr(home().string()));
}

TEST_F(FaultsTest, obeysTheSettingsOfAnOlderInstallationFromTheFirstCallOn) {
  const auto older = scratch_ / "data" / "tavro";
  std::filesystem::create_directories(older);
  std::ofstream(older / "config.json") << settings;
  Server server({{"XDG_DATA_HOME", (scratch_ / "data").string()}});
  EXPECT_THAT(server.call("note_add", {{"title", "x"}}), testing::StartsWith("⏸ ")) << "the mode is panic";
}

TEST_F(FaultsTest, leavesAFileAloneThatIsNoDatabase) {
  std::filesystem::create_directories(home());
  const std::string garbage(8192, 'g');
  std::ofstream(home() / "tavro.sqlite") << garbage;
  std::ofstream(home() / "config.json") << "\xff\xfe{{{";
  Server server({});
  EXPECT_THAT(server.call("how_it_works", {}), testing::StartsWith(executed));
  EXPECT_THAT(server.call("note_delete", {{"name", "x"}}), testing::StartsWith("⏸ ")) << "defaults: copilote";
  EXPECT_EQ(Files::read(home() / "tavro.sqlite"), garbage);
  const auto told = tavro({"rule", "list"});
  EXPECT_EQ(told.status.code, 1);
  EXPECT_THAT(told.errors, testing::HasSubstr("tavro.sqlite"));
}

TEST_F(FaultsTest, runsAnActionWhileAnotherProcessKeepsTheDatabaseLocked) {
  settle();
  sqlite3* other = nullptr;
  ASSERT_EQ(sqlite3_open((home() / "tavro.sqlite").c_str(), &other), SQLITE_OK);
  Server server({});
  EXPECT_THAT(server.call("how_it_works", {}), testing::StartsWith(executed));
  const auto lines = audit().size();
  ASSERT_EQ(sqlite3_exec(other, "BEGIN EXCLUSIVE", nullptr, nullptr, nullptr), SQLITE_OK);
  EXPECT_THAT(server.call("how_it_works", {}), testing::StartsWith(executed)) << "its line is lost, the action stands";
  sqlite3_exec(other, "ROLLBACK", nullptr, nullptr, nullptr);
  sqlite3_close(other);
  EXPECT_THAT(server.call("how_it_works", {}), testing::StartsWith(executed));
  EXPECT_EQ(audit().size(), lines + 1);
}

TEST_F(FaultsTest, losesNoLineWhenSeveralProcessesWriteAtOnce) {
  settle();
  const auto before = audit().size();
  constexpr int calls = 60;
  std::vector<std::unique_ptr<Server>> servers;
  for (int i = 0; i < 3; ++i) servers.push_back(std::make_unique<Server>(Variables{}));
  for (auto& server : servers)
    for (int i = 0; i < calls; ++i) server->send(R"({"id":1,"method":"tools/call","params":{"name":"how_it_works"}})");
  for (int i = 0; i < 10; ++i) ASSERT_TRUE(tavro({"run", "how_it_works"}).status.ok());
  for (auto& server : servers) {
    for (int i = 0; i < calls; ++i) ASSERT_TRUE(server->receive());
    EXPECT_EQ(server->end(), 0);
  }
  EXPECT_EQ(audit().size(), before + 3 * calls + 10);
}

TEST_F(FaultsTest, keepsEveryAcknowledgedLineWhenKilled) {
  settle();
  std::mt19937 random(20261122);
  auto lines = audit().size();
  for (int round = 0; round < 12; ++round) {
    Server server({});
    for (int i = 0; i < 200; ++i) server.send(R"({"id":1,"method":"tools/call","params":{"name":"how_it_works"}})");
    std::thread killer([&] {
      std::this_thread::sleep_for(std::chrono::microseconds(random() % 150'000));
      server.kill();
    });
    std::size_t acknowledged = 0;
    while (server.receive()) ++acknowledged;
    killer.join();
    server.end();
    const auto now = audit().size();
    EXPECT_GE(now, lines + acknowledged);
    EXPECT_LE(now, lines + acknowledged + 1) << "at most the call that was under way";
    lines = now;
    expectAllThere();
  }
}

// An approval that is killed at any moment: the action ran once or not at all, and the owner can see which it may be.
TEST_F(FaultsTest, runsAnApprovedActionOnceWhenKilled) {
  settle();
  ASSERT_TRUE(tavro({"desktop", "init"}).status.ok());
  Server server({});
  std::mt19937 random(7);
  int finished = 0;
  for (int round = 0; round < 12; ++round) {
    const std::string title = "round " + std::to_string(round) + ".";
    const std::string queued = server.call("note_add", {{"title", title}});
    const std::string id = queued.substr(queued.find("(id=") + 4, 8);
    const std::string seconds = std::to_string(0.01 + static_cast<double>(random() % 400) / 1000);
    Process::run(
        {.program = "timeout", .arguments = {"-s", "KILL", seconds, program("tavro"), "approve", id, "--yes"}});
    const auto again = tavro({"approve", id, "--yes"});
    const auto notes = tavro({"run", "note.find", "name=" + title}).output;
    const auto count = notes.find(title) == std::string::npos                          ? 0
                       : notes.find(title, notes.find(title) + 1) == std::string::npos ? 1
                                                                                       : 2;
    const auto listed = *JsonText::parse(tavro({"pending", "--json"}).output);
    EXPECT_LE(count, 1) << title;
    if (listed.empty()) {
      EXPECT_EQ(count, 1) << "what left the queue has run: " << again.errors;
      ++finished;
    } else {
      EXPECT_EQ(listed.at(0).at("state"), "interrupted");
      EXPECT_EQ(again.status.code, 1);
      EXPECT_TRUE(tavro({"reject", id, "--yes"}).status.ok());
    }
  }
  EXPECT_GT(finished, 0);
}

TEST_F(FaultsTest, goesOnWhenNobodyReadsItsLog) {
  int log[2];
  ASSERT_EQ(pipe2(log, O_CLOEXEC), 0);
  const int own = dup(2);
  dup2(log[1], 2);
  close(log[0]);
  close(log[1]);
  Server server({});
  dup2(own, 2);
  close(own);
  server.send("no JSON");
  server.send(R"({"id":3,"method":"ping"})");
  EXPECT_EQ(server.receive(), R"({"jsonrpc":"2.0","id":3,"result":{}})");
  EXPECT_EQ(server.end(), 0);
}

TEST_F(FaultsTest, answersAfterALineOf64MiB) {
  Server server({});
  std::thread sender([&] {
    server.send(std::string(64u << 20, 'x'));
    server.send(R"({"id":")" + std::string(64u << 20, 'y') + R"(","method":"ping"})");
    server.send(R"({"id":3,"method":"ping"})");
  });
  const auto big = server.receive();
  const auto small = server.receive();
  sender.join();
  ASSERT_TRUE(big && small);
  EXPECT_EQ(big->size(), (64u << 20) + std::string(R"({"jsonrpc":"2.0","id":"","result":{}})").size());
  EXPECT_EQ(*small, R"({"jsonrpc":"2.0","id":3,"result":{}})");
  EXPECT_EQ(server.end(), 0);
}

}  // namespace
