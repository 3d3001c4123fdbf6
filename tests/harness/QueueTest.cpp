// The approval queue and the owner's side of it: files of any bytes, ids that are no names, two approvals of one
// action, and an approval that is killed on the way.
#include <signal.h>

#include <atomic>
#include <thread>

#include "Platform/Json.h"
#include "TavroCore/harness/Approval.h"
#include "tests/harness/Home.h"

namespace {

using testing::ElementsAre;

PendingAction action(std::string id, std::string createdAt = "2026-01-01T00:00:00Z") {
  return {
      .id = id, .tool = "test.tool", .args = {{"to", "bob"}}, .summary = "test.tool to=bob", .createdAt = createdAt};
}

class PendingStoreTest : public HomeTest {
 protected:
  std::vector<std::string> listed() const {
    std::vector<std::string> ids;
    for (const auto& found : store.list()) ids.push_back(found.id);
    return ids;
  }
  const PendingStore store{home};
};

TEST_F(PendingStoreTest, listsWhatItCanReadOldestFirst) {
  EXPECT_THAT(listed(), ElementsAre());
  store.add(action("C", "2026-01-02T00:00:00Z"));
  store.add(action("B"));
  EXPECT_TRUE(store.addNew(action("A")));
  EXPECT_FALSE(store.addNew(action("A", "2027")));
  write(store.dir / "stray.txt", read(store.dir / "A.json"));
  write(store.dir / "stray.JSON", read(store.dir / "A.json"));
  write(store.dir / "other.json", R"({"id":"other"})");
  std::filesystem::create_directory(store.dir / "directory.json");
  EXPECT_THAT(listed(), ElementsAre("A", "B", "C"));
  EXPECT_FALSE(JsonText::parseObject(read(store.dir / "A.json"))->contains("preview"));
  EXPECT_EQ(store.get("A"), action("A"));
  store.remove("A");
  store.remove("A");
  EXPECT_THAT(listed(), ElementsAre("B", "C"));
}

TEST_F(PendingStoreTest, bearsAFileThatIsCutAtAnyByte) {
  auto whole = action("A");
  whole.preview = "touches \"é\"";
  store.add(whole);
  store.add(action("B"));
  const std::string text = read(store.dir / "A.json");
  for (std::size_t length = 0; length < text.size(); ++length) {
    write(store.dir / "A.json", text.substr(0, length));
    ASSERT_FALSE(store.get("A")) << "cut at " << length;
    ASSERT_THAT(listed(), ElementsAre("B")) << "cut at " << length;
  }
  write(store.dir / "A.json", text);
  EXPECT_EQ(store.get("A"), whole);
}

TEST_F(PendingStoreTest, formsNoPathFromAnIdThatIsNoPlainName) {
  store.add(action("A"));
  write(home / "outside.json", read(store.dir / "A.json"));
  for (const std::string& id : {std::string(), std::string("../outside"), std::string(".A"), std::string("A\0", 2),
                                std::string("../pending/A"), (home / "outside").string()}) {
    EXPECT_FALSE(store.get(id)) << id;
    EXPECT_THROW(store.add(action(id)), FileFailure) << id;
    EXPECT_FALSE(Approval::get(store, id)) << id;
    EXPECT_EQ(Approval::reject(store, id, "owner"), Approval::Refusal::notThere) << id;
    store.remove(id);
  }
  EXPECT_TRUE(Files::exists(home / "outside.json"));
  EXPECT_THAT(listed(), ElementsAre("A"));
}

class ApprovalTest : public SharedHomeTest {
 protected:
  using State = Approval::State;
  using Refusal = Approval::Refusal;

  ApprovalTest() {
    tool.build = [](const Arguments&) { return Script(); };
    tool.nativeRun = [this](const Arguments& args) {
      ++runs;
      return "OK sent to " + args.at("to");
    };
    store.add(action("A"));
  }
  Approval::Outcome approve(bool evenIfInterrupted = false) {
    return Approval::approve(store, action("A"), "owner", evenIfInterrupted,
                             [this](std::string_view id) { return id == tool.id ? &tool : nullptr; });
  }
  std::optional<State> state() const {
    const auto item = Approval::get(store, "A");
    const auto items = Approval::list(store);
    EXPECT_EQ(items.size(), item ? 1 : 0);
    if (!item) return std::nullopt;
    EXPECT_EQ(items.at(0).state, item->state);
    return item->state;
  }
  /// "outcome reason details" of the one audit line that the owner's decision left.
  static std::string line() {
    const auto lines = AuditLog::shared().recent(10);
    if (lines.size() != 1 || lines[0].actor != "owner" || lines[0].action != "test.tool") return "wrong lines";
    return lines[0].outcome + " " + *lines[0].reason + " " + Json(lines[0].details).dump();
  }

  Tool tool{.id = "test.tool", .summary = "", .effect = Effect::destructive, .build = nullptr};
  std::atomic<int> runs = 0;
  const PendingStore store{home};
};

TEST_F(ApprovalTest, runsNothingButWhatTheOwnerSaw) {
  PendingAction other = action("A");
  other.args["to"] = "eve";
  store.add(other);
  EXPECT_EQ(std::get<Refusal>(approve()), Refusal::changed);
  EXPECT_EQ(state(), State::waiting);
  EXPECT_EQ(runs, 0);
}

TEST_F(ApprovalTest, runsTheActionAuditsItAndDropsIt) {
  EXPECT_EQ(state(), State::waiting);
  EXPECT_EQ(std::get<HarnessRunner::Built>(approve()).output, "OK sent to bob");
  EXPECT_EQ(state(), std::nullopt);
  EXPECT_EQ(std::get<Refusal>(approve(true)), Refusal::notThere);
  EXPECT_EQ(runs, 1);
  EXPECT_EQ(line(), R"(executed approved:A {"result":"OK sent to bob","to":"bob"})");
}

TEST_F(ApprovalTest, auditsAndDropsAnActionThatFails) {
  tool.nativeRun = [](const Arguments&) -> std::string { throw Error("no network"); };
  EXPECT_EQ(std::get<HarnessRunner::Built>(approve()).error, "no network");
  EXPECT_EQ(state(), std::nullopt);
  EXPECT_EQ(line(), R"(error approved:A {"error":"no network","to":"bob"})");
}

TEST_F(ApprovalTest, rejectsWithoutRunningWhateverTheTool) {
  tool.id = "renamed.tool";
  EXPECT_EQ(std::get<Refusal>(approve()), Refusal::unknownTool);
  EXPECT_EQ(state(), State::waiting);
  EXPECT_EQ(Approval::reject(store, "A", "owner"), std::nullopt);
  EXPECT_EQ(Approval::reject(store, "A", "owner"), Refusal::notThere);
  EXPECT_EQ(state(), std::nullopt);
  EXPECT_EQ(runs, 0);
  EXPECT_EQ(line(), R"(rejected rejected:A {"to":"bob"})");
}

TEST_F(ApprovalTest, runsAnActionOnceThatManyApproveAtOnce) {
  for (int round = 0; round < 20; ++round) {
    store.add(action("A"));
    runs = 0;
    std::atomic<int> approvals = 0;
    std::vector<std::thread> owners;
    for (int i = 0; i < 8; ++i) {
      owners.emplace_back([&] { approvals += std::holds_alternative<HarnessRunner::Built>(approve(true)); });
    }
    for (auto& owner : owners) owner.join();
    ASSERT_EQ(runs, 1);
    ASSERT_EQ(approvals, 1);
  }
}

TEST_F(ApprovalTest, showsAsInterruptedWhatAKilledApprovalLeftEvenWhileItsChildLives) {
  int started[2];
  ASSERT_EQ(::pipe2(started, O_CLOEXEC), 0);
  const pid_t approver = ::fork();
  if (approver == 0) {
    tool.nativeRun = [&](const Arguments&) -> std::string {
      const int child = std::system("sleep 5 </dev/null >/dev/null 2>&1 &");
      static_cast<void>(!::write(started[1], "x", child == 0 ? 1 : 0));
      for (;;) ::pause();
    };
    approve();
    ::_exit(1);
  }
  char byte;
  ASSERT_EQ(::read(started[0], &byte, 1), 1);
  EXPECT_EQ(state(), State::running);
  EXPECT_EQ(std::get<Refusal>(approve(true)), Refusal::running);
  EXPECT_EQ(Approval::reject(store, "A", "owner"), Refusal::running);

  ::kill(approver, SIGKILL);
  ::waitpid(approver, nullptr, 0);
  EXPECT_EQ(state(), State::interrupted);
  EXPECT_FALSE(store.addNew(action("A"))) << "the id is in use";
  EXPECT_EQ(std::get<Refusal>(approve()), Refusal::interrupted);
  EXPECT_EQ(runs, 0);
  EXPECT_TRUE(std::get<HarnessRunner::Built>(approve(true)).ok);
  EXPECT_EQ(state(), std::nullopt);
  EXPECT_EQ(runs, 1);
}

}  // namespace
