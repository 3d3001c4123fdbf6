// Guards the owner's mail as scripts see it: each list of a mailbox tells of the same messages, a change reaches the
// message that was meant and no other, and nothing is lost or sent twice on its way out.
#include "Platform/linux/stores/Maildir.h"
#include "tests/desktop/ScriptedDesk.h"

namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;

class MailTest : public ScriptedDesk {
 protected:
  MailTest() {
    ::setenv("TZ", "UTC", 1);
    account("work", R"("emails": ["Ann Lee <ann@work.example>", "al@work.example"], "server": "imap.work.example")");
    box("work/INBOX");
  }

  void account(const std::string& name, const std::string& fields) const {
    put("mail/" + name + "/account.json", "{" + fields + ", \"send\": \"cat > " + sent().string() + "\"}");
  }
  std::filesystem::path sent() const { return directory / "sent.eml"; }
  std::string sentMessage() const { return Files::read(sent()).value_or("(nothing sent)"); }

  void box(const std::string& mailbox) const { Maildir(root / "mail" / mailbox).create(); }
  /// `name` is the file's, from the delivery time on.
  void letter(const std::string& mailbox, const std::string& name, const std::string& message) const {
    box(mailbox);
    put("mail/" + mailbox + "/cur/" + name, message);
  }
  /// The letter that answers are tested with.
  void question() const {
    letter(
        "work/INBOX", "1773480413.M1.host:2,S",
        "From: Bob Ray <bob@x.example>\nTo: al@work.example, Cy <cy@y.example>\n"
        "Cc: dee@z.example, ANN@work.example, Team, bob@x.example\nSubject: Plan\nMessage-ID: <2@x.example>\n"
        "References: <0@x.example>\nIn-Reply-To: <1@x.example>\nDate: Sat, 14 Mar 2026 09:26:53 +0000\n"
        "MIME-Version: 1.0\nContent-Type: multipart/mixed; boundary=b\n\n--b\nContent-Type: text/plain\n\nShall we?\n"
        "--b\nContent-Type: text/csv; name=plan.csv\nContent-Disposition: attachment; filename=plan.csv\n\n1,2\n"
        "--b--\n");
  }

  std::vector<std::string> files(const std::string& mailbox) const {
    return Files::listIfPossible(root / "mail" / mailbox / "cur");
  }
  std::string onlyFile(const std::string& mailbox) const {
    const auto all = files(mailbox);
    return all.size() == 1 ? get("mail/" + mailbox + "/cur/" + all.front()) : std::to_string(all.size()) + " files";
  }

  static void expect(const std::vector<Step>& steps) {
    for (const auto& [script, result] : steps) EXPECT_THAT(tell("Mail", script), MatchesRegex(result)) << script;
  }
};

std::string simple(const std::string& subject, const std::string& from = "zoe@x.example") {
  return "From: " + from + "\nTo: ann@work.example\nSubject: " + subject + "\nMessage-ID: <" + subject +
         "@x.example>\n\nText of " + subject + "\n";
}

TEST_F(MailTest, showsAccountsMailboxesAndMessages) {
  put("mail/zed/Archive/2025/cur/1673480513.M1.host:2,FS", simple("Old"));
  letter("work/INBOX", "1773480413.M2.host:2,",
         simple("=?utf-8?q?Gr=C3=BC=C3=9Fe?=", "=?utf-8?b?WsO2?= <zoe@x.example>"));
  letter("work/INBOX", "1773480414.M1.host:2,RS", simple("Newer"));
  question();
  expect({
      {"name of accounts", "work, zed"},
      {"get {id, full name, user name, email addresses, account type} of account 1",
       "work, Ann Lee, ann@work.example, ann@work.example, al@work.example, imap"},
      {"get {server name of account 1 as text, count of email addresses of account 2}", "imap.work.example, 0"},
      {"server name of account \"zed\" as text", ".*Can’t get server name of account id \"zed\". .-1728."},
      {"port of account 1", ".*-1728."},
      {"first account whose name is \"Nobody\"", ".*-1719."},
      {"name of mailboxes of account 2", "Archive/2025"},
      {"get {name of inbox, name of trash mailbox, count of messages of trash mailbox}", "INBOX, Trash, 0"},
      {"get {name of account of inbox, unread count of inbox}", "work, 1"},
      {"subject of every message of inbox", "Newer, Grüße, Plan|Newer, Plan, Grüße"},
      {"sender of (first message of inbox whose subject is \"GRÜSSE\" or subject is \"grüße\")", "Zö <zoe@x.example>"},
      {"set m to message 1 of inbox\nget {message id, read status, was replied to, flag index, message size} of m",
       "Newer@x.example, true, true, -1, [0-9]+"},
      {"set m to first message of inbox whose subject is \"Plan\"\n(date received of m) - (date sent of m)", "0"},
      {"content of message 1 of inbox & \"!\"", "Text of Newer\n?!"},
      {"set m to first message of inbox whose subject is \"Plan\"\n"
       "get {name of to recipients of m, address of to recipients of m, address of cc recipients of m, count of "
       "recipients of m}",
       ", Cy, al@work.example, cy@y.example, dee@z.example, ANN@work.example, , bob@x.example, 6"},
      {"set m to first message of inbox whose subject is \"Plan\"\n"
       "get {name, MIME type, file size} of mail attachment 1 of m",
       "plan.csv, text/csv, [0-9]"},
      {"set m to first message of inbox whose subject is \"Plan\"\ncontent of header \"references\" of m",
       "<0@x.example>"},
      {"set theId to id of message 2 of inbox\n(first message of inbox whose id is theId) is message 2 of inbox",
       "true"},
      {"name of container of mailbox of message 1 of inbox", "work"},
  });
}

TEST_F(MailTest, takesEveryListOfAMailboxFromOneListing) {
  letter("work/INBOX", "1773480413.M1.host:2,", simple("One"));
  const auto inbox = (root / "mail/work/INBOX/cur/").string();
  const auto arrival = "do shell script \"cp " + inbox + "*host:2, " + inbox + "1773480500.M9.host:2,\"\n";
  expect({
      {"set a to messages of inbox\n" + arrival + "set b to subject of messages of inbox\nget {count of a, count of b}",
       "1, 1"},
      {"count of messages of inbox", "2"},
      {"set a to messages of inbox\ndo shell script \"rm " + inbox + "1773480500*\"\ncheck for new mail\n" +
           "get {count of a, count of messages of inbox}",
       "2, 1"},
  });
}

TEST_F(MailTest, findsAMessageThatAnotherProgramRenamedAndNeverTakesAnother) {
  letter("work/INBOX", "1773480413.M1.host:2,", simple("One"));
  letter("work/INBOX", "1773480412.M1.host:2,", simple("Two"));
  const auto inbox = (root / "mail/work/INBOX/cur/").string();
  const auto rename = "set m to message 1 of inbox\ndo shell script \"mv " + inbox + "1773480413.M1.host:2, " + inbox +
                      "1773480413.M1.host,U=7:2,S\"\n";
  expect({{rename + "set found to {exists m, content of m as text}\nset flagged status of m to true\nfound",
           "true, Text of One\n?"}});
  EXPECT_THAT(files("work/INBOX"), ElementsAre("1773480412.M1.host:2,", "1773480413.M1.host,U=7:2,FS"));
  const auto gone =
      "Mail got an error: Can’t get message id [0-9]+ of mailbox \"INBOX\" of account id \"work\". .-1728.";
  for (const std::string act :
       {"content of m", "word 1 of content of m", "delete m", "set read status of m to true", "reply m"}) {
    letter("work/INBOX", "1773480499.M1.host:2,", simple("Three"));
    const auto vanish = "set m to message 1 of inbox\ndo shell script \"rm " + inbox + "1773480499*\"\n";
    expect({{vanish + act, gone}});
  }
  EXPECT_THAT(files("work/INBOX"), ElementsAre("1773480412.M1.host:2,", "1773480413.M1.host,U=7:2,FS"));
}

TEST_F(MailTest, keepsFlagsColorsAndJunkWhereOtherProgramsLookForThem) {
  letter("work/INBOX", "1773480413.M1.host:2,c", simple("One"));
  letter("work/Junk", "1773480413.M1.host:2,", simple("Spam"));
  put("mail/work/INBOX/dovecot-keywords", "0 $Forwarded\n1 $MailFlagBit1\n2 $NotJunk\n");
  expect({
      {"set read status of every message of inbox to true\nread status of messages of inbox", "true"},
      {"set flag index of message 1 of inbox to 5\nget {flag index, flagged status} of message 1 of inbox", "5, true"},
      {"set flag index of message 1 of inbox to 2\nflag index of message 1 of inbox", "2"},
      {"set flagged status of message 1 of inbox to false\nflag index of message 1 of inbox", "-1"},
      {"set flagged status of message 1 of inbox to true\nflag index of message 1 of inbox", "2"},
      {"set flag index of message 1 of inbox to 0\nflag index of message 1 of inbox", "0"},
      {"set flag index of message 1 of inbox to 7", ".*-10006."},
      {"set subject of message 1 of inbox to \"x\"", ".*-10003."},
      {"set junk mail status of message 1 of inbox to true\njunk mail status of messages of inbox", "true"},
      {"junk mail status of messages of junk mailbox", "true"},
      {"set junk mail status of messages of junk mailbox to false\njunk mail status of messages of junk mailbox",
       "false"},
  });
  EXPECT_THAT(get("mail/work/INBOX/dovecot-keywords"), HasSubstr("$Junk"));
  ASSERT_THAT(files("work/INBOX"), ElementsAre(MatchesRegex("1773480413.M1.host:2,FS[d-z]")));
  // Colors and junk go along to a mailbox of other letters.
  expect(
      {{"set flag index of message 1 of junk mailbox to 0\nset flag index of message 1 of inbox to 3\n"
        "move message 1 of inbox to junk mailbox\n"
        "get {flag index, junk mail status} of messages of junk mailbox",
        "3, 0, true, false|0, 3, false, true"}});
}

TEST_F(MailTest, movesToTheTrashAndRemovesOnlyWhatIsThere) {
  box("zed/Elsewhere");
  for (const std::string number : {"1", "2", "3"})
    letter("work/INBOX", "177348041" + number + ".M1.host:2,S", simple(number));
  expect({
      {"move message 1 of inbox to mailbox \"Elsewhere\" of account \"zed\"\nsubject of messages of inbox", "2, 1"},
      {"set m to message 1 of inbox\nset mailbox of m to mailbox \"Elsewhere\" of account \"zed\"\n"
       "get {subject of m, name of mailbox of m, read status of m}",
       "2, Elsewhere, true"},
      {"move message 1 of inbox to inbox", ".*is in that mailbox already. .-10000."},
      {"set m to message 1 of inbox\ndelete m\ndelete m", ".*-1728."},
      {"get {subject of messages of trash mailbox, count of messages of inbox}", "1, 0"},
      {"delete messages of trash mailbox\ncount of messages of trash mailbox", "0"},
      {"delete inbox", ".*-10003."},
      {"duplicate message 1 of mailbox \"Elsewhere\" of account \"zed\" to inbox", ".*-1708."},
      {"move mailbox \"Elsewhere\" of account \"zed\" to inbox", ".*-1708."},
  });
  EXPECT_EQ(files("zed/Elsewhere").size(), 2);
}

TEST_F(MailTest, tellsOfAMailboxThatCannotBeRead) {
  box("work/Odd");
  Files::remove(root / "mail/work/Odd/cur");
  std::filesystem::create_symlink("cur", root / "mail/work/Odd/cur");
  box("work/Half");
  Files::remove(root / "mail/work/Half/new");
  std::filesystem::create_symlink("new", root / "mail/work/Half/new");
  letter("work/INBOX", "1773480413.M1.host:2,", "");
  letter("work/INBOX", "1773480412.M1.host:2,", std::string("\x00\xFFnot mail", 10));
  expect({
      {"subject of messages of mailbox \"Half\" of account 1", "Mail got an error: .*Half/new.* .-10000."},
      {"unread count of mailbox \"Half\" of account 1", ".*-10000."},
      {"get {subject of messages of inbox, content of message 1 of inbox}", ", , "},
  });
}

TEST_F(MailTest, savesADraftOnceAndWithItsFiles) {
  put("a b.csv", "1,2\n");
  const std::string fresh =
      "set m to make new outgoing message with properties {subject:\"S\", content:\"a\" & return & \"b\", "
      "visible:false}\ntell m to make new to recipient at end of to recipients with properties "
      "{name:\"Bo\", address:\"bo@x.example\"}\n";
  const auto attach = [&](const std::string& file) {
    return "tell content of m to make new attachment with properties {file name:(POSIX file \"" +
           (root / file).string() + "\" as alias)} at after the last paragraph\n";
  };
  expect({
      {fresh + "set sender of m to \"Nobody <no@work.example>\"", ".*No account has that address. .-10006."},
      {fresh + attach("none.csv") + "save m", ".*-43."},
      {fresh + attach("mail") + "save m", ".*it isn’t a file. .-10000."},
      {fresh + "tell m to make new to recipient with properties {address:\"two words\"}\nsend m",
       ".*isn’t an e-mail address. .-10000."},
      {fresh + "tell m to make new to recipient with properties {address:\"a@b.example c@d.example\"}\nsend m",
       ".*“a@b.example c@d.example” isn’t an e-mail address. .-10000."},
      {fresh + "set colour of m to 1", ".*-1728."},
      {"make new outgoing message with properties {subject:\"S\", content:\"lost\"}\ncount of outgoing messages", "1"},
  });
  EXPECT_THAT(files("work/Drafts"), IsEmpty());
  expect({{fresh + attach("a b.csv") +
               "save m\nset subject of m to \"T\"\nset sender of m to \"AL@work.example\"\nsave m\n"
               "get {sender of m, count of messages of drafts mailbox, name of attachments of content of m}",
           "Ann Lee <al@work.example>, 1, a b.csv"}});
  EXPECT_THAT(files("work/Drafts"), ElementsAre(MatchesRegex(".*:2,DS")));
  EXPECT_THAT(onlyFile("work/Drafts"),
              AllOf(HasSubstr("Subject: T\n"), HasSubstr("From: Ann Lee <al@work.example>\n"),
                    HasSubstr("To: Bo <bo@x.example>\n"), HasSubstr("a\nb\n"), HasSubstr("a b.csv")));
  EXPECT_EQ(sentMessage(), "(nothing sent)");
}

TEST_F(MailTest, leavesAMessageThatIsToBeShownInTheDrafts) {
  question();
  tell("Mail", "set r to reply message 1 of inbox with opening window\nset content of r to \"Yes\"");
  EXPECT_THAT(onlyFile("work/Drafts"), HasSubstr("Subject: Re: Plan\n"));
  EXPECT_THAT(files("work/INBOX"), ElementsAre(MatchesRegex(".*:2,S")));
}

TEST_F(MailTest, sendsOnceAndFilesACopy) {
  const std::string send =
      "set m to make new outgoing message with properties {subject:\"S\", content:\"Hi\"}\n"
      "make new bcc recipient at end of bcc recipients of m with properties {address:\"b@x.example, c@x.example\"}\n"
      "save m\nsend m\n";
  expect({{send + "send m", "Mail got an error: Can’t get outgoing message id 1. .-1728."}});
  EXPECT_THAT(sentMessage(),
              AllOf(HasSubstr("\nBcc: b@x.example, c@x.example\n"), ContainsRegex("Message-ID: <.+>\n")));
  EXPECT_EQ(onlyFile("work/Sent"), sentMessage());
  EXPECT_THAT(files("work/Sent"), ElementsAre(MatchesRegex(".*:2,S")));
  EXPECT_THAT(files("work/Drafts"), IsEmpty());
  // Whatever fails once it is out must not make anybody send again.
  Files::remove(root / "mail/work/Sent");
  put("mail/work/Sent", "");
  expect({{send + "count of outgoing messages", "0"}});
  EXPECT_THAT(files("work/Drafts"), ElementsAre(MatchesRegex(".*:2,S")));
}

TEST_F(MailTest, keepsWhatCouldNotBeSent) {
  put("mail/work/account.json", R"({"emails": ["ann@work.example"], "send": "echo no route >&2; false"})");
  const std::string fresh = "set m to make new outgoing message with properties {subject:\"S\", content:\"Hi\"}\n";
  const std::string to = "tell m to make new to recipient with properties {address:\"bo@x.example\"}\n";
  expect({
      {fresh + "send m", ".*it has no recipients. .-10000."},
      {fresh + to + "try\nsend m\nend try\nsend m",
       "Mail got an error: .*no route.*. The message is kept in the drafts. .-10000."},
  });
  EXPECT_THAT(files("work/Drafts"), ElementsAre(MatchesRegex(".*:2,DS")));
  EXPECT_THAT(files("work/Sent"), IsEmpty());
  Files::remove(root / "mail/work/account.json");
  expect({{fresh + to + "send m", ".*No account has an e-mail address. .*work/account.json. .-10000."}});
}

TEST_F(MailTest, answersInTheThread) {
  question();
  account("zed", R"("emails": ["dee@z.example"])");
  const auto say = [](const std::string& with) {
    return "set r to " + with + "\nset content of r to \"Yes\" & return & (content of message 1 of inbox)\nsend r";
  };
  tell("Mail", say("reply message 1 of inbox"));
  EXPECT_THAT(sentMessage(),
              AllOf(HasSubstr("From: Ann Lee <al@work.example>\n"), HasSubstr("To: Bob Ray <bob@x.example>\n"),
                    HasSubstr("Subject: Re: Plan\n"), HasSubstr("In-Reply-To: <2@x.example>\n"),
                    ContainsRegex("References: <0@x.example>[ \n]+<1@x.example>[ \n]+<2@x.example>\n"),
                    HasSubstr("Yes\nShall we?\n"), Not(HasSubstr("Cc:")), Not(HasSubstr("plan.csv"))));
  EXPECT_THAT(files("work/INBOX"), ElementsAre(MatchesRegex(".*:2,RS")));
  // Neither the owner nor anybody twice.
  tell("Mail", say("reply message 1 of inbox reply to all true"));
  EXPECT_THAT(sentMessage(), AllOf(HasSubstr("To: Bob Ray <bob@x.example>\n"), HasSubstr("Cc: Cy <cy@y.example>\n")));
  tell("Mail",
       "set r to forward message 1 of inbox\nmake new to recipient at end of to recipients of r with "
       "properties {address:\"eve@x.example\"}\nsend r");
  EXPECT_THAT(sentMessage(), AllOf(HasSubstr("Subject: Fwd: Plan\n"), HasSubstr("To: eve@x.example\n"),
                                   HasSubstr("plan.csv"), Not(HasSubstr("References:"))));
  EXPECT_THAT(files("work/INBOX"), ElementsAre(MatchesRegex(".*:2,PRS")));
  const std::string answer = "set r to reply message 1 of inbox\nget {subject of r, address of recipients of r}";
  letter("work/INBOX", "1773480500.M1.host:2,", simple("RE: x", "bot@x.example\nReply-To: desk@x.example"));
  expect({{answer, "RE: x, desk@x.example"}});
  letter("work/INBOX", "1773480501.M1.host:2,", simple("y", "bot@x.example\nReply-To: nobody in particular"));
  expect({{answer, "Re: y, bot@x.example"}});
  letter("work/INBOX", "1773480502.M1.host:2,", simple("own", "al@work.example\nTo: Cy <cy@y.example>"));
  expect({{answer, "Re: own, cy@y.example"}});
  // Never from another account, when this one's address can't be told.
  put("mail/work/account.json", R"({"emails": ["al@work.example"],})");
  expect({{answer, ".*Can’t tell the account’s e-mail address: .*/work/account.json isn’t a JSON object.* .-10000."}});
}

TEST_F(MailTest, showsACopyOfAMessageAndSavesItsFiles) {
  question();
  const auto file = (directory / "plan.csv").string();
  expect({{"open message 1 of inbox", ".*Can’t show .*Plan.eml: .* .-10000."},
          {"save mail attachment 1 of message 1 of inbox in POSIX file \"" + file + "\"", ""}});
  EXPECT_THAT(Files::read(file).value_or("(none)"), HasSubstr("1,2"));
  giveScreen();
  tell("Mail", "open message 1 of inbox");
  const auto shown = shownFile();
  EXPECT_THAT(shown, ContainsRegex("/Plan.eml\n$"));
  const auto copy = std::filesystem::path(shown.substr(0, shown.find('\n')));
  EXPECT_EQ(Files::read(copy), get("mail/work/INBOX/cur/1773480413.M1.host:2,S"));
  Files::remove(copy.parent_path());
}

}  // namespace
