// Guards what other processes may see of a file: the old bytes or the new ones, with nothing left
// beside them when a write fails, and never over a name that must not be taken.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <functional>
#include <thread>

#include "Platform/Files.h"
#include "tests/platform/TemporaryDirectory.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
namespace fs = std::filesystem;

mode_t modeOf(const fs::path& path) {
  struct stat entry {};
  return stat(path.c_str(), &entry) == 0 ? entry.st_mode & 07777 : 0;
}

/// The errno of the FileFailure that `operation` throws; 0 when it throws none.
int failureOf(const std::function<void()>& operation) {
  try {
    operation();
    return 0;
  } catch (const FileFailure& failure) {
    return failure.errorNumber();
  }
}

/// A disk that takes no file over `size` bytes: the write past them fails with EFBIG.
class SmallDisk {
 public:
  explicit SmallDisk(rlim_t size) {
    signal(SIGXFSZ, SIG_IGN);
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit limit{size, before_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~SmallDisk() { setrlimit(RLIMIT_FSIZE, &before_); }

 private:
  rlimit before_{};
};

const std::string large(300'000, 'x');

TEST(Files, whatCannotBeReadIsToldApartFromAbsence) {
  const TemporaryDirectory folder;
  EXPECT_EQ(Files::read(folder / "none"), std::nullopt);
  EXPECT_EQ(failureOf([&] { Files::read(folder.path()); }), EISDIR);
  ASSERT_EQ(mkfifo((folder / "waiting").c_str(), 0600), 0);
  for (const fs::path& endless : {folder / "waiting", fs::path("/dev/zero")})
    EXPECT_EQ(failureOf([&] { Files::read(endless); }), EINVAL);
  EXPECT_EQ(failureOf([&] { Files::overwrite(folder / "waiting", large); }), ENXIO);
  const int reader = open((folder / "waiting").c_str(), O_RDONLY | O_NONBLOCK);
  EXPECT_EQ(failureOf([&] { Files::append(folder / "waiting", large); }), EINVAL);
  close(reader);
  EXPECT_EQ(Files::readAnything("/dev/null"), "");
  EXPECT_EQ(Files::readIfPossible(folder.path()), std::nullopt);
  const std::string bytes("\0\xFF\r\n", 4);
  Files::replace(folder / "file", bytes);
  EXPECT_EQ(Files::read(folder / "file"), bytes);
  EXPECT_EQ(Files::read(folder / "file" / "below"), std::nullopt);
  EXPECT_THAT(Files::read("/proc/self/status").value_or(""), HasSubstr("VmRSS"));  // its size reads as 0
  EXPECT_EQ(failureOf([&] { Files::read((folder / "file").native() + std::string("\0x", 2)); }), EINVAL);
}

TEST(Files, replaceKeepsTheModeAndTheLinkAndLeavesNoNeighbour) {
  const TemporaryDirectory folder;
  Files::replace(folder / "file", "one", 0640);
  EXPECT_EQ(modeOf(folder / "file"), 0640U);
  Files::setMode(folder / "file", 0604);
  fs::create_symlink("file", folder / "link");
  fs::create_symlink("link", folder / "outer");
  fs::create_symlink("later", folder / "dangling");
  Files::replace(folder / "outer", large, 0644);
  Files::replace(folder / "dangling", "new");
  EXPECT_EQ(Files::read(folder / "file"), large);
  EXPECT_EQ(Files::read(folder / "later"), "new");
  EXPECT_EQ(modeOf(folder / "file"), 0604U);
  EXPECT_TRUE(fs::is_symlink(folder / "outer"));
  EXPECT_THAT(Files::list(folder.path()), ElementsAre("dangling", "file", "later", "link", "outer"));
  const std::string longest(255, 'n');
  Files::replace(folder.path() / longest, "text");
  EXPECT_EQ(Files::read(folder.path() / longest), "text");
}

TEST(Files, aFailedWriteLeavesTheTargetAndNoNeighbour) {
  const TemporaryDirectory folder;
  Files::replace(folder / "file", "old");
  fs::create_symlink("loop", folder / "loop");
  {
    const SmallDisk disk(100'000);
    EXPECT_EQ(failureOf([&] { Files::replace(folder / "file", large); }), EFBIG);
    EXPECT_EQ(failureOf([&] { Files::overwrite(folder / "file", large); }), EFBIG);
    EXPECT_EQ(failureOf([&] { Files::overwrite(folder / "new", large); }), EFBIG);
    EXPECT_EQ(failureOf([&] { Files::createNew(folder / "new", large); }), EFBIG);
  }
  EXPECT_EQ(failureOf([&] { Files::replace(folder.path(), "text"); }), EISDIR);
  EXPECT_EQ(failureOf([&] { Files::replace("/dev/full", "text"); }), EINVAL);
  EXPECT_EQ(failureOf([&] { Files::replace(folder / "loop", "text"); }), ELOOP);
  EXPECT_EQ(failureOf([&] { Files::append("/dev/full", "line\n"); }), ENOSPC);
  EXPECT_EQ(Files::read(folder / "file"), "old");
  EXPECT_THAT(Files::list(folder.path()), ElementsAre("file", "loop"));
  try {
    Files::replace(folder / "none/config.json", "text");
    FAIL() << "wrote into a folder that isn't there";
  } catch (const FileFailure& failure) {
    EXPECT_EQ(failure.description(),
              "could not write " + (folder / "none/config.json").native() + ": No such file or directory");
  }
}

TEST(Files, aReaderNeverSeesAPartOfAReplacedFile) {
  const TemporaryDirectory folder;
  const std::string one(100'000, '1');
  const std::string two(200'000, '2');
  Files::replace(folder / "file", one);
  std::atomic<bool> done = false;
  std::thread writer([&] {
    for (int round = 0; round < 50; ++round) Files::replace(folder / "file", round % 2 == 0 ? two : one);
    done = true;
  });
  bool whole = true;
  do {
    const auto seen = Files::read(folder / "file");
    whole = whole && (seen == one || seen == two);
  } while (!done);
  writer.join();
  EXPECT_TRUE(whole);
}

TEST(Files, overwriteKeepsTheInodeAndCutsTheOldEnd) {
  const TemporaryDirectory folder;
  Files::overwrite(folder / "file", large, 0640);
  fs::create_hard_link(folder / "file", folder / "other");
  Files::overwrite(folder / "other", "short");
  EXPECT_EQ(Files::read(folder / "file"), "short");
  EXPECT_EQ(modeOf(folder / "file"), 0640U);
}

TEST(Files, oneOfSeveralCreatesOrMovesANewName) {
  const TemporaryDirectory folder;
  std::atomic<int> created = 0;
  std::atomic<int> moved = 0;
  Files::replace(folder / "claim", "action");
  std::vector<std::thread> threads;
  for (int index = 0; index < 8; ++index) {
    threads.emplace_back([&, index] {
      created += Files::createNew(folder / "file", std::string(1000, static_cast<char>('0' + index)));
      moved += Files::moveToNewName(folder / "claim", folder / "claimed");
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(created, 1);
  EXPECT_EQ(moved, 1);
  EXPECT_EQ(Files::read(folder / "file").value_or("").size(), 1000U);
  Files::replace(folder / "claim", "another");
  EXPECT_FALSE(Files::moveToNewName(folder / "claim", folder / "claimed"));
  EXPECT_EQ(Files::read(folder / "claimed"), "action");
  EXPECT_TRUE(Files::move(folder / "claim", folder / "claimed"));
  EXPECT_FALSE(Files::move(folder / "claim", folder / "claimed"));
  EXPECT_EQ(failureOf([&] { Files::move(folder / "claimed", folder / "none/claimed"); }), ENOENT);
  EXPECT_THAT(Files::list(folder.path()), ElementsAre("claimed", "file"));
}

TEST(Files, linesOfSeveralWritersDoNotMix) {
  const TemporaryDirectory folder;
  std::vector<std::thread> threads;
  for (char letter : {'a', 'b', 'c', 'd'}) {
    threads.emplace_back([&folder, line = std::string(5000, letter) + "\n"] {
      for (int round = 0; round < 100; ++round) Files::append(folder / "log", line);
    });
  }
  for (std::thread& thread : threads) thread.join();
  const std::string log = Files::read(folder / "log").value_or("");
  ASSERT_EQ(log.size(), 4U * 100 * 5001);
  for (std::size_t at = 0; at < log.size(); at += 5001) {
    ASSERT_EQ(log.substr(at, 5001), std::string(5000, log[at]) + "\n");
  }
}

TEST(Files, aCopyIsWholeOrNotThere) {
  const TemporaryDirectory folder;
  Files::createDirectories(folder / "from/inner/empty", 0750);
  Files::replace(folder / "from/inner/file", large, 0640);
  fs::create_symlink("inner/file", folder / "from/link");
  fs::create_symlink("../from", folder / "from/outward");
  fs::create_symlink("nowhere", folder / "from/dangling");
  Files::setMode(folder / "from/inner", 0550);
  Files::copy(folder / "from", folder / "to");
  Files::copy(folder / "from/link", folder / "link");
  EXPECT_EQ(modeOf(folder / "to/inner"), 0550U);
  EXPECT_EQ(modeOf(folder / "to/inner/empty"), 0750U);
  EXPECT_EQ(modeOf(folder / "to/inner/file"), 0640U);
  EXPECT_EQ(Files::read(folder / "to/inner/file"), large);
  EXPECT_EQ(fs::read_symlink(folder / "to/link"), "inner/file");
  EXPECT_EQ(fs::read_symlink(folder / "to/dangling"), "nowhere");
  EXPECT_EQ(fs::read_symlink(folder / "link"), "inner/file");
  EXPECT_EQ(failureOf([&] { Files::copy(folder / "from", folder / "to"); }), EEXIST);
  EXPECT_EQ(failureOf([&] { Files::copy(folder / "from", folder / "from/inner/deeper"); }), EINVAL);
  EXPECT_EQ(failureOf([&] { Files::copy(folder / "none", folder / "copy"); }), ENOENT);
  ASSERT_EQ(mkfifo((folder / "from/pipe").c_str(), 0600), 0);
  EXPECT_EQ(failureOf([&] { Files::copy(folder / "from", folder / "copy"); }), EOPNOTSUPP);
  EXPECT_THAT(Files::list(folder.path()), ElementsAre("from", "link", "to"));
  for (const char* closed : {"from/inner", "to/inner"}) Files::setMode(folder / closed, 0750);  // to be removed
  EXPECT_TRUE(Files::remove(folder / "to"));
  EXPECT_FALSE(Files::remove(folder / "to"));
  EXPECT_EQ(Files::read(folder / "from/inner/file"), large) << "links are removed, not what they name";
}

TEST(Files, aFailedCopyGoesEvenWhereItMayNotBeWritten) {
  const TemporaryDirectory folder;
  Files::createDirectories(folder / "from/closed");
  Files::replace(folder / "from/closed/file", "text", 0644);
  Files::setMode(folder / "from/closed", 0555);
  ASSERT_EQ(mkfifo((folder / "from/pipe").c_str(), 0600), 0);  // comes after "closed", and can't be copied
  Files::setMode(folder / "from", 0755);
  Files::setMode(folder.path(), 0777);
  const pid_t self = fork();
  if (self == 0) {
    if (getuid() == 0 && setuid(65534) != 0) _exit(2);  // root may write anywhere
    _exit(failureOf([&] { Files::copy(folder / "from", folder / "to"); }) == EOPNOTSUPP ? 0 : 1);
  }
  int status = 0;
  waitpid(self, &status, 0);
  EXPECT_EQ(status, 0);
  EXPECT_THAT(Files::list(folder.path()), ElementsAre("from"));
  Files::setMode(folder / "from/closed", 0755);
}

TEST(Files, directoriesAreMadeWithTheirParentsAndListedInOneOrder) {
  const TemporaryDirectory folder;
  Files::createDirectories(folder / "a/b/", 0700);
  Files::createDirectories(folder / "a/b", 0755);
  EXPECT_EQ(modeOf(folder / "a"), 0700U);
  EXPECT_EQ(modeOf(folder / "a/b"), 0700U);
  for (const char* name : {"b", "B", "\xC3\xA9", ".hidden"}) Files::append(folder.path() / "a/b" / name, "");
  EXPECT_THAT(Files::list(folder / "a/b"), ElementsAre(".hidden", "B", "b", "\xC3\xA9"));
  EXPECT_EQ(failureOf([&] { Files::createDirectories(folder / "a/b/B/below"); }), ENOTDIR);
  EXPECT_EQ(failureOf([&] { Files::createDirectories(""); }), ENOENT);
  EXPECT_EQ(failureOf([&] { Files::list(folder / "none"); }), ENOENT);
  EXPECT_THAT(Files::listIfPossible(folder / "none"), IsEmpty());
}

}  // namespace
