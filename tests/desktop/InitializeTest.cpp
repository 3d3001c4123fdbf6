// Guards what an owner has: the sample goes where nothing is, and nowhere else.
#include "Platform/Desktop.h"
#include "Platform/linux/stores/MailIndex.h"
#include "Platform/linux/stores/MailStore.h"
#include "tests/desktop/Desk.h"

namespace {

class InitializeTest : public Desk {};

TEST_F(InitializeTest, addsTheSampleOnceAndTheTreeAlways) {
  EXPECT_EQ(Desktop::initialize(true).size(), 3 + 1 + 8 + 6u);
  EXPECT_TRUE(Desktop::initialize(true).empty());
  EXPECT_EQ(Files::list(root / "contacts").size(), 6u);
}

TEST_F(InitializeTest, makesMailThatReadsAsMailAndSendsNothing) {
  Desktop::initialize(true);
  const MailStore store(root / "mail");
  EXPECT_EQ(store.accounts().at(0).send, "cat > /dev/null");
  std::size_t count = 0;
  for (const auto& mailbox : store.mailboxes("Sample"))
    for (const auto& message : MailIndex(root / "cache").messages(Maildir(mailbox.directory))) {
      ++count;
      ASSERT_TRUE(message.sent) << message.subject;
      EXPECT_EQ(std::chrono::floor<std::chrono::seconds>(message.received), *message.sent) << message.subject;
      EXPECT_FALSE(message.to.empty() || message.messageID.empty() || message.sender.empty()) << message.subject;
    }
  EXPECT_EQ(count, 14u);
}

TEST_F(InitializeTest, leavesTheOwnersStoresAlone) {
  put("notes/Mine/Ideas/a.html", "mine");
  put("contacts/a.vcf", "");
  put("mail/work/account.json", "{}");
  Desktop::initialize(true);
  EXPECT_EQ(Files::list(root / "mail"), std::vector<std::string>{"work"});
  EXPECT_EQ(Files::list(root / "notes"), std::vector<std::string>{"Mine"});
  EXPECT_EQ(Files::list(root / "notes/Mine"), std::vector<std::string>{"Ideas"});
  EXPECT_EQ(Files::list(root / "contacts").size(), 1u);
}

}  // namespace
