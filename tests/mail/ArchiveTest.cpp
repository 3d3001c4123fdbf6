// Guards archiving: which road an account takes, that nothing runs without a password or toward a port that is none,
// and that what matches leaves the INBOX of a real IMAP server, or goes to the archive mailbox.
#include <fmt/format.h>

#include "Platform/Json.h"
#include "Platform/Text.h"
#include "TavroCore/mail/Keychain.h"
#include "TavroCore/mail/MailAccounts.h"
#include "TavroCore/mail/MailArchiveService.h"
#include "tests/desktop/Desk.h"
#include "tests/imap/Dovecot.h"
#include "tests/support/ToolCall.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

/// Mail is a stand-in for osascript: it answers each script with a text that the test gave, and notes what was asked.
class ArchiveTest : public Desk {
 protected:
  ArchiveTest() : home_("TAVRO_HOME", (directory / "home").c_str()), bin_("TAVRO_PLATFORM_BIN", directory.c_str()) {
    put("../osascript", R"sh(#!/bin/sh
cd "$(dirname "$0")"
case "$(cat "$1")" in
  *'server name'*) script=accounts ;;
  *'move m to'*) script=moved ;;
  *) script=ids ;;
esac
shift
{ printf '%s' "$script"; printf '|%s' "$@"; echo; } >> asked
cat "$script" 2>/dev/null || { echo "12:30: execution error: no $script (-600)" >&2; exit 1; }
)sh");
    Files::setMode(directory / "osascript", 0700);
  }

  void answer(const std::string& script, const std::string& text) const { put("../" + script, text); }
  std::vector<std::string> asked() const {
    return Text::split(Files::read(directory / "asked").value_or(""), '\n', /*dropEmpty=*/true);
  }

  void setUp(const std::string& name, long long port) const {
    const Json entry = {{"mailAccountName", name}, {"email", email}, {"host", Dovecot::host}, {"port", port}};
    put("../home/config.json", JsonText::write(Json{{"imapAccounts", {entry}}}));
  }

  static std::string archive(Arguments args) {
    args.insert({{"account", "Work"}, {"from", "ann"}});
    return callTool("mail.archive", args);
  }

  const std::string email = "ann@example.org";
  const std::string criteria = "|ann||||||||||";

 private:
  Environment::Setting home_;
  Environment::Setting bin_;
};

TEST_F(ArchiveTest, knowsMailsAccountsAndWhichAreGmails) {
  answer("accounts",
         "Host\ta@x.example\tIMAP.Gmail.com\n"
         "Second domain\t\timap.GoogleMail.example\n"
         "  Address \t Ann@GMAIL.com\tmail.example \n"
         "Other\tann@gmail.com.example\tmail.example\ta tab later\n\n"
         "Half a line\tann@gmail.com\n"
         "\tann@gmail.com\timap.gmail.com\n"
         "Bare\t\t\n");
  std::string shown;
  for (const auto& one : MailAccounts::all())
    shown += fmt::format("{}|{}|{}|{}\n", one.mailAccountName, one.email, one.server, one.isGmail() ? "Gmail" : "");
  EXPECT_EQ(shown,
            "Host|a@x.example|IMAP.Gmail.com|Gmail\n"
            "Second domain||imap.GoogleMail.example|Gmail\n"
            "  Address |Ann@GMAIL.com|mail.example|Gmail\n"
            "Other|ann@gmail.com.example|mail.example\ta tab later|\n"
            "Bare|||\n");
  Files::remove(directory / "accounts");
  EXPECT_THAT(MailAccounts::all(), IsEmpty());
}

TEST_F(ArchiveTest, takesWhatMatchesOutOfTheInboxOfTheServer) {
  Dovecot server;
  server.addUser(email, "secret");
  for (const char* id : {"<1@x>", "<2@x>", "<3@x>"}) server.deliver(email, Dovecot::message(id));
  setUp("Work", server.port());
  Keychain::setPassword("secret", email);
  answer("ids", "1@x\n  3@x \n\ngone@x\n");
  EXPECT_EQ(archive({{"mailbox", "Later"}, {"dest", "Old"}}), "OK archived 2 message(s) - moved out of INBOX over IMAP")
      << server.log();
  EXPECT_THAT(server.inbox(email), ElementsAre("<2@x>"));
  EXPECT_THAT(server.allMail(email), ElementsAre("<1@x>", "<3@x>"));
  EXPECT_THAT(asked(), ElementsAre("ids|Work|Later" + criteria));
  Keychain::setPassword("wrong", email);
  EXPECT_THAT(archive({}), StartsWith("IMAP archive failed: imap server: a1 NO "));
}

TEST_F(ArchiveTest, connectsOnlyWithAPasswordAPortAndAMatch) {
  setUp("Work", 65536);
  EXPECT_EQ(archive({}), "no app password in Keychain for ann@example.org - add it in Settings → Archive.");
  Keychain::setPassword("secret", email);
  for (const long long port : {65536LL, -1LL}) {
    setUp("Work", port);
    EXPECT_EQ(archive({}), fmt::format("IMAP archive failed: the port of ann@example.org in the settings' "
                                       "imapAccounts is {}, and a port lies between 0 (for the usual 993) and 65535",
                                       port));
  }
  EXPECT_THAT(asked(), IsEmpty());
  setUp("Work", 1);  // where nobody listens
  EXPECT_EQ(archive({}), "could not read the messages to archive: execution error: no ids (-600)");
  answer("ids", "\n");
  EXPECT_EQ(archive({}), "OK archived 0 message(s) - no match");
  EXPECT_THAT(asked(), ElementsAre("ids|Work|INBOX" + criteria, "ids|Work|INBOX" + criteria));
  answer("ids", "1@x");
  EXPECT_THAT(archive({}), StartsWith("IMAP archive failed: imap connect: "));
}

TEST_F(ArchiveTest, movesTheMessagesOfEveryOtherAccount) {
  setUp("Another", 993);
  answer("moved", "OK moved 2 message(s) -> Archive\n");
  EXPECT_EQ(archive({}), "OK moved 2 message(s) -> Archive");  // Mail tells of no account at all
  answer("accounts", "Work\t\timap.gmail.com\nWork\tann@gmail.com\timap.gmail.com");
  archive({{"dest", "Old"}, {"mailbox", "Later"}});
  answer("accounts", "work\tann@gmail.com\timap.gmail.com");
  Files::remove(directory / "moved");
  EXPECT_EQ(archive({{"mailbox", ""}}), "could not read the messages to archive: missing required argument: mailbox");
  EXPECT_EQ(archive({{"dest", ""}}), "could not read the messages to archive: execution error: no moved (-600)");
  EXPECT_THAT(asked(), ElementsAre("accounts|", "moved|Work|INBOX" + criteria + "|Archive",  //
                                   "accounts|", "moved|Work|Later" + criteria + "|Old",      //
                                   "accounts|", "accounts|", "moved|Work|INBOX" + criteria + "|Archive"));
}

TEST_F(ArchiveTest, saysBeforehandWhereMessagesGoAndWhoseServerAnAddressIsOf) {
  setUp("Work", 143);
  EXPECT_EQ(MailArchiveService::destinationLabel("Work"), "archive (IMAP \\Inbox)");
  EXPECT_THAT(asked(), IsEmpty());
  answer("accounts", "Gmail\tBen@Gmail.com\timap.gmail.com\nHome\tann@example.org\tmail.example");
  EXPECT_EQ(MailArchiveService::destinationLabel("Gmail"), "archive (IMAP \\Inbox)");
  EXPECT_EQ(MailArchiveService::destinationLabel("Home"), "Archive");
  EXPECT_EQ(MailArchiveService::destinationLabel(""), "Archive");
  EXPECT_EQ(MailArchiveService::imapAccountWithEmail("ANN@example.org"),
            (IMAPArchiveAccount{"Work", email, Dovecot::host, 143}));
  EXPECT_EQ(MailArchiveService::imapAccountWithEmail("ben@gmail.com"),
            (IMAPArchiveAccount{"Gmail", "Ben@Gmail.com", "imap.gmail.com", 993}));
  EXPECT_EQ(MailArchiveService::imapAccountWithEmail("ben@example.org"), std::nullopt);
}

TEST_F(ArchiveTest, findsInTheRealMailWhatItTakesOutOfTheServersInbox) {
  const Environment::Setting real("TAVRO_PLATFORM_BIN", "");
  Dovecot server;
  server.addUser(email, "secret");
  put("mail/work/account.json", R"({"name": "Work", "emails": ["ann@example.org"]})");
  for (const char* part : {"new", "tmp"}) std::filesystem::create_directories(root / "mail/work/INBOX" / part);
  for (const auto& [id, subject] : {std::pair("<1@x>", "News 1"), {"<2@x>", "Plans"}, {"<3@x>", "News 2"}}) {
    server.deliver(email, Dovecot::message(id, subject));
    put(fmt::format("mail/work/INBOX/cur/{}.host:2,", id[1]), Dovecot::message(id, subject));
  }
  setUp("Work", server.port());
  Keychain::setPassword("secret", email);
  EXPECT_EQ(archive({{"subjectContains", "news"}}), "OK archived 2 message(s) - moved out of INBOX over IMAP");
  EXPECT_THAT(server.inbox(email), ElementsAre("<2@x>"));
  put("../home/config.json", "{}");
  for (const char* part : {"cur", "new", "tmp"}) std::filesystem::create_directories(root / "mail/work/Archive" / part);
  EXPECT_EQ(archive({{"subjectContains", "plans"}}), "OK moved 1 message(s) -> Archive");
  EXPECT_EQ(Files::list(root / "mail/work/Archive/cur").size(), 1U);
  EXPECT_THAT(MailAccounts::all(), testing::SizeIs(1));
}

}  // namespace
