// Guards that an owner's mailboxes are found as their programs lay them out, and that a strange name, link or
// account.json costs nothing but itself.
#include "Platform/Text.h"
#include "Platform/linux/stores/MailStore.h"
#include "Platform/linux/stores/ModifiedUtf7.h"
#include "tests/maildir/Mailbox.h"

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

class MailStoreTest : public MailTest {
 protected:
  void makeMailboxes(const std::string& account, const std::vector<std::string>& paths) const {
    for (const auto& path : paths) fs::create_directories(root / account / path / "cur");
  }
  std::vector<std::string> mailboxNames(const std::string& account) const {
    std::vector<std::string> found;
    for (const auto& place : store.mailboxes(account)) found.push_back(place.name);
    return found;
  }
  std::string special(const std::string& account, MailboxRole role) const {
    return store.special(account, role).directory.lexically_relative(root / account);
  }
  MailStore store{root};
};

TEST_F(MailStoreTest, readsBothLayoutsAndMixtures) {
  makeMailboxes("mbsync", {"Inbox", "Inbox/Sub", "Archive/2025", "Archive/2025/Q&-A", "Entw&APw-rfe", "R&D", ".git/x"});
  put("mbsync/.mbsyncstate");
  EXPECT_THAT(mailboxNames("mbsync"),
              ElementsAre("INBOX", "Archive/2025", "Archive/2025/Q&A", "Entwürfe", "INBOX/Sub", "R&D"));
  makeMailboxes("dovecot", {".", ".Archive.2025", ".INBOX.Sent", ".Entw&APw-rfe.A&AC4-b", "..odd", "Archive/2024"});
  fs::create_directories(root / "dovecot/.hidden/tmp");
  EXPECT_THAT(mailboxNames("dovecot"),
              ElementsAre("INBOX", "..odd", "Archive/2024", "Archive/2025", "Entwürfe/A&AC4-b", "INBOX/Sent"));
  makeMailboxes("alike", {".", "INBOX", "A/B", ".A.B", "new\nline\t", "Caf\xE9"});
  EXPECT_THAT(mailboxNames("alike"), ElementsAre("INBOX", "A/B", "A/B 2", "Caf\uFFFD", "INBOX 2", "new line "));
  for (const char* name : {"", ".", "..", "mbsync/Archive", "nobody"})
    EXPECT_THAT(mailboxNames(name), IsEmpty()) << name;
}

TEST_F(MailStoreTest, followsLinksOnceAndNamesAMailboxByWhereItLies) {
  makeMailboxes("a", {"Real", "Deep/Inner"});
  makeMailboxes("elsewhere", {"Far"});
  fs::create_directory_symlink(root / "a/Real", root / "a/AAA");
  fs::create_directory_symlink(root / "a", root / "a/Deep/ring");
  fs::create_directory_symlink(root / "elsewhere", root / "a/Linked");
  fs::create_directory_symlink("nowhere", root / "a/dangling");
  EXPECT_THAT(mailboxNames("a"), ElementsAre("Deep/Inner", "Linked/Far", "Real"));
}

TEST_F(MailStoreTest, bearsDirectoriesThatCannotBeRead) {
  makeMailboxes("a", {"Open", "Shut", "Listed/Inner"});
  makeMailboxes("shut", {"Box"});
  for (const char* path : {"a/Shut", "shut"}) fs::permissions(root / path, fs::perms(0));
  fs::permissions(root / "a/Listed", fs::perms(0311));
  const AsOrdinaryUser user(root);
  EXPECT_THAT(mailboxNames("a"), ElementsAre("Open"));
  EXPECT_EQ(store.accounts().size(), 1u);
}

TEST_F(MailStoreTest, tellsAccountsOfOneNameApartAndWhichFileIsBroken) {
  put("a/account.json", R"({"name": "Work", "emails": "ann@work.example"})");
  put("b/account.json", R"({"name": "WORK"})");
  put("work/account.json", R"({"emails": ["ann@work.example"],})");
  std::vector<std::string> told;
  for (const auto& account : store.accounts())
    told.push_back(account.name + (account.isBroken ? " broken" : "") + " " + Text::join(account.emails, ","));
  EXPECT_THAT(told, ElementsAre("Work ann@work.example", "WORK 2 ", "work 3 broken "));
}

TEST_F(MailStoreTest, takesFromAccountJsonWhatItCanUse) {
  put("full/account.json",
      R"({"name": " Work ", "emails": ["\"Lee, Ann\" <ann@work.example>", "info@work.example", "no",
      3, "a@b\nBcc: c@d"], "server": "imap.work.example", "port": 993, "send": "msmtp -t", "userName": "lee"})");
  makeMailboxes("ann@home.example", {"INBOX"});
  for (const auto& [name, bytes] : std::vector<std::pair<std::string, std::string>>{
           {"bad1", "[]"},
           {"bad2", "{"},
           {"bad3", "\xFF\xFE"},
           {"bad4", ""},
           {"bad5", R"({"name": 5, "emails": "x", "port": "993", "send": [], "server": {}})"},
           {"bad6", R"({"port": 65536, "emails": {"a": 1}})"},
           {"bad7", R"({"port": 1e300, "name": ""})"}})
    put(name + "/account.json", bytes);
  put("directory/account.json/x");
  put("empty/file");
  put(".hidden/account.json", "{}");
  put("loose");
  const auto accounts = store.accounts();
  ASSERT_EQ(accounts.size(), 10u);
  EXPECT_EQ(accounts[0].emails, std::vector<std::string>{"ann@home.example"});
  for (std::size_t i = 1; i < 8; ++i) {
    EXPECT_EQ(accounts[i].name, "bad" + std::to_string(i));
    EXPECT_EQ(accounts[i].send, MailStore::defaultSend);
    EXPECT_THAT(accounts[i].emails, IsEmpty());
    EXPECT_EQ(accounts[i].port, 0);
  }
  const auto& full = accounts[9];
  EXPECT_EQ(full.name + "|" + full.fullName + "|" + full.userName + "|" + full.send, "Work|Lee, Ann|lee|msmtp -t");
  EXPECT_THAT(full.emails, ElementsAre("ann@work.example", "info@work.example"));
  EXPECT_EQ(full.port, 993);
}

TEST_F(MailStoreTest, findsTheMailboxesThatPlayAPart) {
  makeMailboxes("usual", {"INBOX", "Draft", "drafts", "Sent Items", "[Gmail]/Bin", "Spam"});
  EXPECT_EQ(special("usual", MailboxRole::inbox), "INBOX");
  EXPECT_EQ(special("usual", MailboxRole::drafts), "drafts");
  EXPECT_EQ(special("usual", MailboxRole::sent), "Sent Items");
  EXPECT_EQ(special("usual", MailboxRole::trash), "[Gmail]/Bin");
  EXPECT_EQ(special("usual", MailboxRole::junk), "Spam");
  put("told/account.json", R"({"drafts": "Entwürfe", "sent": "../../x", "trash": "Old/Bin", "junk": "/tmp"})");
  makeMailboxes("told", {"Entw&APw-rfe", "Trash"});
  EXPECT_EQ(special("told", MailboxRole::drafts), "Entw&APw-rfe");
  EXPECT_EQ(special("told", MailboxRole::sent), "Sent");
  EXPECT_EQ(special("told", MailboxRole::trash), "Old/Bin");
  EXPECT_EQ(special("told", MailboxRole::junk), "Junk");
  put("flat/account.json", R"({"trash": "Old.Bin", "sent": "Gesendet/Ä"})");
  makeMailboxes("flat", {".Drafts"});
  EXPECT_EQ(special("flat", MailboxRole::inbox), ".");
  EXPECT_EQ(special("flat", MailboxRole::sent), ".Gesendet.&AMQ-");
  Maildir(store.special("flat", MailboxRole::trash).directory).create();
  EXPECT_EQ(mailboxNames("flat"), (std::vector<std::string>{"Drafts", "Old/Bin"}));
  EXPECT_EQ(store.mailboxes("flat").back().role, MailboxRole::trash);
}

TEST(ModifiedUtf7, readsBackWhatItWritesAndRefusesTheRest) {
  const std::vector<std::pair<std::string, std::string>> rows = {
      {"INBOX", "INBOX"},
      {"Q&A - -", "Q&-A - -"},
      {"~peter/mail/台北/日本語", "~peter/mail/&U,BTFw-/&ZeVnLIqe-"},
      {"Entwürfe", "Entw&APw-rfe"},
      {"a\tb", "a&AAk-b"},
      {"😀x", "&2D3eAA-x"},
  };
  for (const auto& [text, name] : rows) {
    EXPECT_EQ(ModifiedUtf7::encode(text), name);
    EXPECT_EQ(ModifiedUtf7::decode(name), text);
  }
  for (const char* bad :
       {"&", "R&D", "&A-", "&AAA-", "&AGE-", "&AAAA-", "&2D0-", "&3gA-", "&APx-", "&AP/-", "\xC3\xBC", "a\nb"})
    EXPECT_EQ(ModifiedUtf7::decode(bad), std::nullopt) << bad;
}

}  // namespace
