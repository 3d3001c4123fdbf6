// Guards what an owner has: the sample goes where nothing is, and nowhere else.
#include "Platform/Desktop.h"
#include "Platform/linux/stores/CalendarStore.h"
#include "Platform/linux/stores/MailIndex.h"
#include "Platform/linux/stores/MailStore.h"
#include "tests/desktop/Desk.h"

namespace {

class InitializeTest : public Desk {};

TEST_F(InitializeTest, addsTheSampleOnceAndTheTreeAlways) {
  EXPECT_EQ(Desktop::initialize(true).size(), 5 + 1 + 2 + 2 + 8 + 6u);
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
  Files::createDirectories(root / "mail/work/INBOX/cur");
  EXPECT_EQ(store.accounts().front().name, "work");  // and so new mail isn't from the sample
}

TEST_F(InitializeTest, makesEventsAndRemindersAroundToday) {
  Desktop::initialize(true);
  CalendarStore store(root);
  const auto now = Dates::now();
  std::size_t standups = 0;
  for (const auto& event : store.events(now, now + std::chrono::days(14))) standups += event.title == "Standup";
  EXPECT_THAT(standups, testing::AllOf(testing::Ge(9u), testing::Le(11u)));
  EXPECT_EQ(store.reminders().size(), 8u);
}

TEST_F(InitializeTest, leavesTheOwnersStoresAlone) {
  put("notes/Mine/Ideas/a.html", "mine");
  put("contacts/a.vcf", "");
  put("mail/work/account.json", "{}");
  put("calendars/mine/a.ics", "");
  Desktop::initialize(true);
  EXPECT_EQ(Files::list(root / "calendars"), std::vector<std::string>{"mine"});
  EXPECT_EQ(Files::list(root / "mail"), std::vector<std::string>{"work"});
  EXPECT_EQ(Files::list(root / "notes"), std::vector<std::string>{"Mine"});
  EXPECT_EQ(Files::list(root / "notes/Mine"), std::vector<std::string>{"Ideas"});
  EXPECT_EQ(Files::list(root / "contacts").size(), 1u);
}

}  // namespace
