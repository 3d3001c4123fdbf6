// Guards that a listing tells what the files tell, whatever the cache has become and whoever renames meanwhile.
#include <sys/stat.h>

#include <atomic>
#include <set>
#include <thread>

#include "Platform/linux/stores/MailIndex.h"
#include "tests/maildir/Mailbox.h"

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

class MailIndexTest : public MailTest {
 protected:
  std::vector<std::string> subjects(const MailIndex& by) const {
    std::vector<std::string> found;
    for (const auto& message : by.messages(box)) found.push_back(message.subject);
    return found;
  }
  /// Other bytes of the same length, without anything that a stamp could tell.
  void swapUnseen(const fs::path& file, std::string_view bytes) const {
    const auto time = fs::last_write_time(root / file);
    std::fstream(root / file, std::ios::in | std::ios::out) << bytes;
    fs::last_write_time(root / file, time);
  }
  Maildir box = mailbox("Box");
  MailIndex index{root / "cache"};
};

TEST_F(MailIndexTest, tellsWhatTheHeadersSayNewestFirst) {
  const auto file = put("Box/cur/named.by.hand:2,F", "Subject: by its time\n\n");
  fs::last_write_time(file, fs::file_time_type::clock::now() - std::chrono::hours(100'000));
  put("Box/cur/received:2,S",
      "Received: by x; Fri, 20 Nov 2026 10:00:00 +0000\nSubject: by its line\n\nSubject: body\n");
  put("Box/new/1773480413.a",
      "From: =?utf-8?q?J=C3=B6rg?= <j@x.example>\nTo: a@x.example, B <b@x.example>\n"
      "Message-ID: <id@x>\nDate: Sat, 14 Mar 2026 09:26:53 +0000\nSubject: by its\n name\n\n");
  const auto messages = index.messages(box);
  EXPECT_THAT(subjects(index), ElementsAre("by its line", "by its name", "by its time"));
  const auto& named = messages[1];
  EXPECT_EQ(named.sender, "Jörg <j@x.example>");
  EXPECT_THAT(named.to, ElementsAre("a@x.example", "b@x.example"));
  EXPECT_EQ(named.messageID, "id@x");
  EXPECT_EQ(named.received, *named.sent);
  EXPECT_TRUE(named.entry.isNew);
  EXPECT_EQ(messages[2].entry.flags, "F");
  EXPECT_EQ(messages[2].size, 22u);
}

TEST_F(MailIndexTest, readsAFileAgainOnlyWhenItIsAnother) {
  put("Box/cur/1773480413.a:2,", "Subject: one\n\n");
  EXPECT_THAT(subjects(index), ElementsAre("one"));
  swapUnseen("Box/cur/1773480413.a:2,", "Subject: two\n\n");
  fs::rename(root / "Box/cur/1773480413.a:2,", root / "Box/cur/1773480413.a:2,RS");
  EXPECT_THAT(subjects(index), ElementsAre("one"));  // or it wasn't the cache that told
  EXPECT_EQ(index.messages(box).front().entry.flags, "RS");
  EXPECT_THAT(subjects(MailIndex(root / "other")), ElementsAre("two"));
  put("Box/cur/1773480413.a:2,RS", "Subject: 3\n\n");
  EXPECT_THAT(subjects(index), ElementsAre("3"));
}

TEST_F(MailIndexTest, takesADamagedCacheForNone) {
  put("Box/cur/1773480413.a:2,", "From: a@x\nTo: b@x\nDate: Sat, 14 Mar 2026 09:26:53 +0000\nSubject: one\n\n");
  EXPECT_THAT(subjects(index), ElementsAre("one"));
  const auto cache = fs::path("cache") / names("cache").front();
  EXPECT_EQ(fs::status(root / "cache").permissions(), fs::perms(0700));
  EXPECT_EQ(fs::status(root / cache).permissions(), fs::perms(0600));
  const auto whole = get(cache);
  swapUnseen("Box/cur/1773480413.a:2,", "From: a@x\nTo: b@x\nDate: Sat, 14 Mar 2026 09:26:53 +0000\nSubject: two\n\n");
  for (std::size_t at = 0; at < whole.size(); ++at) {
    auto flipped = whole;
    flipped[at] = static_cast<char>(flipped[at] ^ 0x20);
    for (const auto& bytes : {whole.substr(0, at), flipped, whole + "x", std::string(at, '\xFF')}) {
      put(cache, bytes);
      ASSERT_THAT(subjects(index), ElementsAre("two")) << at;
    }
  }
  put(cache, whole);
  EXPECT_THAT(subjects(index), ElementsAre("one"));
}

TEST_F(MailIndexTest, doesWithoutACacheThatCannotBeWritten) {
  put("Box/cur/1773480413.a:2,", "Subject: one\n\n");
  put("file", "mine");
  EXPECT_THAT(subjects(MailIndex(root / "file")), ElementsAre("one"));
  EXPECT_EQ(get("file"), "mine");
}

TEST_F(MailIndexTest, bearsMessagesThatAreNone) {
  put("Box/cur/1773480415.a:2,", "X: " + std::string(1 << 20, 'x') + "\nSubject: long\n\n");
  put("Box/cur/1773480414.b:2,", std::string(5 << 20, 'x'));
  put("Box/cur/1773480413.c:2,", "");
  put("Box/cur/1773480412.d:2,", "\nSubject: body\n");
  put("Box/cur/1773480411.e:2,", "Subject: shut\n\n");
  put("Box/cur/1773480410.f:2,", "Subject: " + std::string(100'000, 'x') + "\n\n");
  fs::permissions(root / "Box/cur/1773480411.e:2,", fs::perms(0));
  for (const auto& part : {"Box", "Box/cur", "Box/new"}) fs::permissions(root / part, fs::perms(0755));
  {
    const AsOrdinaryUser user(root);
    const auto found = subjects(index);
    ASSERT_EQ(found.size(), 6u);
    EXPECT_EQ(found[0], "long");
    EXPECT_THAT(std::vector(found.begin() + 2, found.begin() + 5), ElementsAre("", "", ""));
    EXPECT_EQ(found[5].size(), 16u << 10);
  }
  fs::permissions(root / "Box/cur/1773480411.e:2,", fs::perms(0600));
  EXPECT_EQ(subjects(MailIndex(root / "other"))[4], "shut");
}

TEST_F(MailIndexTest, tellsEachMessageOnceWhileOthersRename) {
  constexpr int count = 200;
  for (int i = 0; i < count; ++i)
    put("Box/new/" + std::to_string(1773480413 + i), "Subject: " + std::to_string(i) + "\n\n");
  std::atomic<bool> isDone = false;
  std::thread reader([&] {
    for (int i = 0; !isDone; i = (i + 1) % count) {
      const auto fresh = root / "Box/new" / std::to_string(1773480413 + i);
      const auto seen = root / "Box/cur" / (std::to_string(1773480413 + i) + ":2,S");
      if (::rename(fresh.c_str(), seen.c_str()) != 0) ::rename(seen.c_str(), fresh.c_str());
    }
  });
  std::vector<std::size_t> wrong;
  for (int round = 0; round < 20; ++round) {
    const auto found = subjects(MailIndex(root / ("cache" + std::to_string(round))));
    if (std::set(found.begin(), found.end()).size() != count || found.size() != count) wrong.push_back(found.size());
  }
  isDone = true;
  reader.join();
  EXPECT_THAT(wrong, IsEmpty());
}

}  // namespace
