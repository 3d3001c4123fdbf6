// Guards messages against everything that other programs do to their files meanwhile: none is missed, listed twice,
// lost, written in part, or taken for another.
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <atomic>
#include <set>
#include <thread>

#include "Platform/linux/stores/MaildirName.h"
#include "tests/maildir/Mailbox.h"

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::StartsWith;

class MaildirTest : public MailTest {
 protected:
  Maildir box = mailbox("Box");
};

TEST_F(MaildirTest, readsTheNamesThatProgramsWriteAndPassesOverTheRest) {
  struct Row {
    const char* file;
    const char* unique;
    const char* flags;
    long long delivered;
  };
  const std::vector<Row> rows = {
      {"cur/1773480413.M20046P2137.host,S=4711,W=4800:2,SF", "1773480413.M20046P2137.host,S=4711,W=4800", "FS",
       1773480413},
      {"cur/1773480414.R7.host,U=9:2,aSSb", "1773480414.R7.host,U=9", "Sab", 1773480414},
      {"new/1773480415.V801I2.host", "1773480415.V801I2.host", "", 1773480415},
      {"cur/1773480416_0.12.host", "1773480416_0.12.host", "", 1773480416},
      {"cur/42:1,S", "42", "", 0},
      {"cur/99999999999999999999.x:2,T", "99999999999999999999.x", "T", 0},
      {"cur/notes.txt:2,S;x", "notes.txt", "S", 0},
  };
  for (const auto& row : rows) put(fs::path("Box") / row.file);
  for (const char* other : {"cur/.1773480417.x:2,S", "cur/directory/file", "new/.DS_Store", "cur/:2,S", "loose"})
    put(fs::path("Box") / other);
  ::mkfifo((root / "Box/cur/pipe").c_str(), 0600);
  ASSERT_EQ(box.entries().size(), rows.size());
  for (const auto& row : rows) {
    const auto entry = box.find(row.unique);
    ASSERT_TRUE(entry) << row.file;
    EXPECT_EQ(entry->flags, row.flags) << row.file;
    EXPECT_EQ(box.file(*entry), root / "Box" / row.file);
    const auto delivered = MaildirName::delivered(row.unique);
    EXPECT_EQ(delivered ? delivered->time_since_epoch().count() : 0, row.delivered * 1'000'000) << row.file;
  }
}

TEST_F(MaildirTest, findsAMessageAgainThatWasRenamed) {
  const auto before = put("Box/new/1773480413.a.host,S=9");
  const auto entry = box.entries().front();
  fs::rename(before, root / "Box/cur/1773480413.a.host,S=9,U=7:2,F");  // read by one program, numbered by mbsync
  EXPECT_EQ(box.changeFlags(entry, "S", "").value().unique, "1773480413.a.host,S=9,U=7");
  EXPECT_THAT(names("Box/cur"), ElementsAre("1773480413.a.host,S=9,U=7:2,FS"));
  const auto moved = box.moveTo(mailbox("Other"), entry);
  EXPECT_THAT(moved->unique, StartsWith("1773480413.M"));
  EXPECT_THAT(moved->unique, EndsWith(",S=9"));
  EXPECT_THAT(names("Other/cur"), ElementsAre(moved->unique + ":2,FS"));
  EXPECT_FALSE(box.changeFlags(entry, "S", ""));
  EXPECT_FALSE(box.moveTo(Maildir(root / "Other"), entry));
  EXPECT_FALSE(box.remove(entry));
  EXPECT_TRUE(Maildir(root / "Other").remove({.unique = moved->unique, .info = ":2,T"}));
  EXPECT_THAT(names("Other/cur"), IsEmpty());
}

TEST_F(MaildirTest, actsOnNoMessageThatMightBeAnother) {
  put("Box/cur/1773480413.a,U=1:2,");
  put("Box/cur/1773480413.a,U=2:2,");
  EXPECT_FALSE(box.remove({.unique = "1773480413.a,U=3", .info = ":2,"}));
  Files::remove(root / "Box/cur/1773480413.a,U=2:2,");
  EXPECT_FALSE(box.remove({.unique = "1773480413.a,U=2", .info = ":2,"}));
  put("Box/cur/1773480414.b:2,", "one");
  put("Box/cur/1773480414.b:2,S", "two");
  EXPECT_THROW(box.changeFlags({.unique = "1773480414.b", .info = ":2,"}, "S", ""), FileFailure);
  EXPECT_EQ(get("Box/cur/1773480414.b:2,S"), "two");
  EXPECT_EQ(names("Box/cur").size(), 3u);
}

TEST_F(MaildirTest, listsEachMessageOnceWhileOthersAreMoving) {
  constexpr int count = 300;
  for (int i = 0; i < count; ++i) put("Box/new/" + std::to_string(1773480413 + i) + ".x");
  std::atomic<bool> isDone = false;
  std::thread mover([&] {
    for (unsigned i = 0; !isDone; ++i) {
      const auto name = std::to_string(1773480413 + i % count) + ".x";
      const auto fresh = root / "Box/new" / name;
      const auto seen = root / "Box/cur" / (name + ",U=7:2,S");
      ::rename(fresh.c_str(), seen.c_str());
      ::rename(seen.c_str(), (root / "Box/cur" / (name + ":2,FS")).c_str());
      ::rename((root / "Box/cur" / (name + ":2,FS")).c_str(), fresh.c_str());
    }
  });
  std::vector<std::size_t> wrong;
  for (int round = 0; round < 50; ++round) {
    std::set<std::string> found;
    const auto entries = box.entries();
    for (const auto& entry : entries) found.insert(entry.unique.substr(0, 12));
    if (found.size() != count || entries.size() != count) wrong.push_back(entries.size());
  }
  isDone = true;
  mover.join();
  EXPECT_THAT(wrong, IsEmpty());
}

TEST_F(MaildirTest, losesNoFlagWhenTwoProgramsSetSome) {
  const auto entry = box.deliver("x", "", Dates::now());
  const auto set = [&](std::string_view flag) {
    for (int i = 0; i < 200; ++i) box.changeFlags(entry, flag, i % 2 ? "" : flag);
  };
  std::thread other(set, "F");
  set("S");
  other.join();
  EXPECT_EQ(box.find(entry.unique)->flags, "FS");
  EXPECT_EQ(names("Box/cur").size(), 1u);
}

TEST_F(MaildirTest, deliversWholeMessagesOrNone) {
  const std::string bytes(200'000, 'x');
  for (int round = 0; round < 20; ++round) {
    const pid_t child = ::fork();
    if (child == 0)
      for (;;) box.deliver(bytes, "S", Dates::now());
    ::usleep(static_cast<useconds_t>(1000 + round * 700));  // somewhere in the middle of something
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
  }
  const auto entries = box.entries();
  EXPECT_FALSE(entries.empty());
  EXPECT_EQ(names("Box/cur").size(), entries.size());
  EXPECT_THAT(names("Box/new"), IsEmpty());
  for (const auto& entry : entries) EXPECT_EQ(fs::file_size(box.file(entry)), bytes.size());
}

TEST_F(MaildirTest, keepsTheMeaningOfKeywordsInAnotherMailbox) {
  const auto other = mailbox("Other");
  put("Box/dovecot-keywords", "0 $Forwarded\n1 $Junk\nodd line\n2 Work\n30 Beyond");
  put("Other/dovecot-keywords", "0 Private\n3 $junk");
  put("Other/cur/1773480000.old:2,b");  // a letter that nobody knows any more
  put("Box/cur/1773480413.a:2,FSbcz");
  EXPECT_EQ(box.keyword("$JUNK"), 'b');
  EXPECT_EQ(box.keyword("Beyond"), std::nullopt);
  EXPECT_EQ(box.moveTo(other, *box.find("1773480413.a"))->flags, "FScd");
  EXPECT_EQ(get("Other/dovecot-keywords"), "0 Private\n3 $junk\n2 Work\n");
  EXPECT_EQ(box.keywordOrNew("Colour"), 'd');
  EXPECT_EQ(get("Box/dovecot-keywords"), "0 $Forwarded\n1 $Junk\nodd line\n2 Work\n30 Beyond\n3 Colour\n");
  for (const char* name : {"", "two words", "line\nfeed"}) EXPECT_FALSE(box.keywordOrNew(name)) << name;
  for (int i = 0; i < 22; ++i) EXPECT_TRUE(box.keywordOrNew("k" + std::to_string(i)));
  EXPECT_FALSE(box.keywordOrNew("k22"));
}

TEST_F(MaildirTest, movesAcrossFileSystemsByACopy) {
  char name[] = "/dev/shm/tavro-test-XXXXXX";
  struct stat here {
  }, there{};
  if (!::mkdtemp(name)) GTEST_SKIP() << "no /dev/shm";
  ::stat(root.c_str(), &here);
  ::stat(name, &there);
  const Maildir far(fs::path(name) / "Far");
  const auto file = put("Box/cur/1773480413.a:2,R", "the bytes");
  fs::permissions(file, fs::perms(0640));
  fs::last_write_time(file, fs::file_time_type(std::chrono::seconds(-1'000'000'000)));
  const auto time = fs::last_write_time(file);
  const auto moved = box.moveTo(far, *box.find("1773480413.a"));
  ASSERT_TRUE(moved);
  EXPECT_EQ(Files::read(far.file(*moved)), "the bytes");
  EXPECT_EQ(fs::status(far.file(*moved)).permissions(), fs::perms(0640));
  EXPECT_EQ(fs::last_write_time(far.file(*moved)), time);
  EXPECT_THAT(names("Box/cur"), IsEmpty());
  EXPECT_THAT(Files::list(fs::path(name) / "Far/tmp"), IsEmpty());
  fs::remove_all(name);
  if (here.st_dev == there.st_dev) GTEST_SKIP() << "one file system only: this was a rename";
}

TEST_F(MaildirTest, tellsOfADirectoryThatCannotBeRead) {
  put("Box/cur/1773480413.a:2,R");
  fs::permissions(root / "Box", fs::perms(0711));
  const AsOrdinaryUser user(root);
  EXPECT_TRUE(Maildir::isMaildir(root / "Box"));
  EXPECT_THROW(box.deliver("x", "", Dates::now()), FileFailure);
  EXPECT_THROW(box.remove({.unique = "1773480413.a", .info = ":2,R"}), FileFailure);
  EXPECT_THROW(box.entries(), FileFailure);
}

}  // namespace
