// Guards that a loop runs once at a time: whatever a dead run has left, and however many contend for it.
#include "TavroCore/automations/RunLock.h"
#include "tests/harness/Home.h"

namespace {

struct RunLockTest : HomeTest {
  RunLockTest() : files("news") { std::filesystem::create_directories(files.directory); }
  const LoopFiles files;
};

TEST_F(RunLockTest, isTakenByOneOfManyWhateverADeadHolderLeft) {
  const std::vector<std::pair<std::string, std::function<void()>>> leftBehind = {
      {"999999999", [&] { write(files.lock / "pid", " 999999999\n"); }},
      {"(nobody)", [] {}},
      {"", [&] { write(files.lock / "pid", ""); }},
      {"?", [&] { std::filesystem::create_directory(files.lock); }},
      {"?", [&] { write(files.lock, "a file"); }}};
  for (const auto& [from, leave] : leftBehind) {
    leave();
    constexpr int contenders = 12;
    inProcesses(contenders, [&, expected = from](int) {
      const RunLock lock(files);
      if (lock.isHeld()) {
        EXPECT_EQ(lock.takenOverFrom().value_or("(nobody)"), expected);
        EXPECT_EQ(RunLock::liveHolder(files), ::getpid());
        Files::append(user / "winners", "w");
      } else {
        EXPECT_GT(lock.holder(), 1);
      }
      Files::append(user / "tried", "t");
      while (read(user / "tried").size() < contenders) ::usleep(1000);  // none goes before all have tried
    });
    EXPECT_EQ(read(user / "winners"), "w") << "left by " << from;
    EXPECT_FALSE(Files::exists(files.lock)) << "it was released";
    for (const auto* trace : {"winners", "tried"}) Files::remove(user / trace);
  }
}

TEST_F(RunLockTest, tellsADeadHolderFromAnotherProcessOfItsId) {
  write(files.lock / "pid", std::to_string(::getppid()));
  EXPECT_EQ(RunLock(files).holder(), ::getppid()) << "where `process` is missing";
  write(files.lock / "process", "0000-the-computer-before 4711");
  const RunLock lock(files);
  EXPECT_EQ(lock.takenOverFrom(), std::to_string(::getppid()));
  Files::remove(files.lock);
  write(files.lock / "pid", "1");
  EXPECT_TRUE(lock.isHeld()) << "and must not take the other's away";
  EXPECT_EQ(RunLock::liveHolder(files).has_value(), ::getuid() == 0) << "another user's process runs no loop of ours";
}

}  // namespace
