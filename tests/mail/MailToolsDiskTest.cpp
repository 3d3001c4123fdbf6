// Guards the mail tools from an agent's call to the file on disk: the real scripts run in the real osascript on
// Maildirs that each test writes.
#include <fmt/format.h>

#include <algorithm>
#include <ctime>

#include "Platform/Text.h"
#include "TavroCore/mail/MailCriteria.h"
#include "tests/desktop/Desk.h"
#include "tests/mail/MailCall.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;
using Lines = std::vector<std::string>;

constexpr long midnight = 1773446400;  // that begins 2026-03-14 in UTC
constexpr long day = 24 * 60 * 60;

struct Letter {
  long received = midnight;
  std::string from = "Ann <ann@x.example>";
  std::string to = "me@work.example";
  std::string flags;
  std::string body = "Text.\n";
  std::string headers;
};

class MailToolsDiskTest : public Desk {
 protected:
  MailToolsDiskTest() {
    ::setenv("TZ", "UTC", 1);
    ::setenv("TAVRO_HOME", (directory / "home").c_str(), 1);
    account("Work");
  }
  ~MailToolsDiskTest() override {
    ::unsetenv("TZ");
    ::unsetenv("TAVRO_HOME");
  }

  /// me@<name>.example in the folder mail/<name>, whose mail goes out into the file <name>.eml.
  void account(const std::string& name, const std::string& alsoSend = "") const {
    const auto folder = Text::lowercase(name);
    put("mail/" + folder + "/account.json",
        fmt::format(R"({{"name": "{}", "emails": ["Me <me@{}.example>"], "send": "cat > {}/{}.eml{}"}})", name, folder,
                    directory.string(), folder, alsoSend));
    mailbox(folder + "/INBOX");
  }
  std::string sent(const std::string& account) const {
    return Files::read(directory / (account + ".eml")).value_or("(nothing sent)");
  }

  void mailbox(const std::string& box) const {
    for (const char* part : {"cur", "new", "tmp"}) std::filesystem::create_directories(root / "mail" / box / part);
  }
  /// Numbered as they are put: of two as new, the earlier one comes first.
  void letter(const std::string& box, const std::string& subject, const Letter& letter = {}) {
    mailbox(box);
    ++count_;
    put(fmt::format("mail/{}/cur/{}.{:04}.host:2,{}", box, letter.received, count_, letter.flags),
        fmt::format("From: {}\nTo: {}\nSubject: {}\nMessage-ID: <{}@x.example>\n{}\n{}", letter.from, letter.to,
                    subject, count_, letter.headers, letter.body));
  }

  /// The subjects in a mailbox's files, sorted, each with its Maildir flags: "Hello:FS".
  Lines files(const std::string& box) const {
    Lines found;
    const auto place = root / "mail" / box / "cur";
    for (const auto& name : std::filesystem::is_directory(place) ? Files::list(place) : Lines()) {
      const auto text = Files::read(place / name).value_or("");
      const auto at = text.find("Subject: ") + 9;
      found.push_back(text.substr(at, text.find('\n', at) - at) + ":" + name.substr(name.find(":2,") + 3));
    }
    std::sort(found.begin(), found.end());
    return found;
  }

  static std::string inbox(const std::string& id, const std::string& args = "") {
    return call(id, "account=Work;mailbox=INBOX;" + args);
  }
  static Lines lines(const std::string& output) { return Text::split(output, '\n', /*dropEmpty=*/true); }

 private:
  int count_ = 0;
};

TEST_F(MailToolsDiskTest, listAccountsAndHeaders) {
  account("Home");
  mailbox("work/Archive/2025");
  mailbox("home/.Lists.Caf&AOk-");
  EXPECT_EQ(call("accounts"), "ACCOUNT: Home\n  INBOX\n  Lists/Café\nACCOUNT: Work\n  INBOX\n  Archive/2025");
  for (int i = 0; i < 3; ++i) letter("work/INBOX", "S" + std::to_string(i), {.received = midnight + i});
  EXPECT_THAT(inbox("headers"), MatchesRegex("[^|]+2026[^|]+ \\|\\| Ann <ann@x.example> \\|\\| S2\n.* S1\n.* S0"));
  EXPECT_THAT(lines(inbox("headers", "limit=2")), ElementsAre(HasSubstr(" S2"), HasSubstr(" S1")));
  EXPECT_EQ(lines(inbox("headers", "limit=9")).size(), 3U);
  EXPECT_EQ(call("headers", "account=WORK;mailbox=archive/2025"), "");
}

TEST_F(MailToolsDiskTest, sayWhatTheyDoNotFind) {
  const std::string error = "execution error: ";
  EXPECT_EQ(inbox("headers", "mailbox=Foo"), error + "mailbox not found: Foo (-2700)");
  EXPECT_EQ(inbox("move", "from=a;dest=Foo"), error + "destination mailbox not found: Foo (-2700)");
  for (const char* id : {"audit", "search"})
    EXPECT_THAT(call(id, "account=Foo;mailbox=INBOX;from=a"),
                MatchesRegex(error + "Mail got an error: .*\"Foo\".*\\(-1719\\)"));
  EXPECT_EQ(inbox("audit", "minSize=abc"), error + "Can’t make \"abc\" into type real. (-1700)");
  EXPECT_THAT(inbox("audit", "before=soon"), StartsWith(error));
  for (const char* id : {"body", "open"}) EXPECT_EQ(inbox(id, "subject=x"), "(no matching message)");
  EXPECT_EQ(inbox("reply", "subject=x;body=b"), error + "no matching message to reply to (-2700)");
  EXPECT_EQ(inbox("forward", "subject=x;to=b@x.example"), error + "no matching message to forward (-2700)");
  EXPECT_EQ(sent("work"), "(nothing sent)");
  const auto unread = MailCriteria::mailMatchingMessageIDs("Work", "Foo", {});
  EXPECT_TRUE(!unread.ok && unread.ids.empty());
  EXPECT_EQ(unread.error, error + "mailbox not found: Foo (-2700)");
}

TEST_F(MailToolsDiskTest, takeTheMessagesThatPassEveryFilter) {
  const long now = std::time(nullptr);
  letter("work/INBOX", "A", {.flags = "S"});
  letter("work/INBOX", "B plan", {.received = midnight + 1, .to = "bo@x.example, Team <team@y.example>"});
  letter("work/INBOX", "C", {.received = midnight - 1, .from = "Cé <c@z.example>"});
  letter("work/INBOX", "D", {.received = midnight + 2 * day, .flags = "FS", .body = std::string(3 << 20, 'x')});
  letter("work/INBOX", "E PLAN",
         {.received = midnight - day,
          .body = "--b\n\nHi\n--b\nContent-Type: application/pdf\n"
                  "Content-Disposition: attachment; filename=a.pdf\n\nx\n--b--\n",
          .headers = "MIME-Version: 1.0\nContent-Type: multipart/mixed; boundary=b\n"});
  letter("work/INBOX", "F", {.received = now - 3 * day, .flags = "S"});
  const std::pair<const char*, const char*> cases[] = {
      {"", "F D B A C E"},
      {"from=ANN@x", "F D B A E"},
      {"from=CÉ", "C"},
      {"to=Y.EXAMPLE", "B"},
      {"to=me@", "F D A C E"},
      {"before=2026-03-14", "C E"},
      {"after=2026-03-14", "F D B"},
      {"after=2026-03-13;before=2026-03-15", "B A C"},
      {"after=2026-01-31;before=2026/03/14", "C E"},
      {"olderThan=2;before=2020-01-01", "F D B A C E"},
      {"olderThan=4", "D B A C E"},
      {"minSize=1", "D"},
      {"maxSize=1", "F B A C E"},
      {"minSize=0;maxSize=0", "F D B A C E"},
      {"minSize=0.00001;maxSize=0.9", "F B A C E"},
      {"subject=a", "A"},
      {"subject=plan", ""},
      {"subjectContains=plan", "B E"},
      {"subjectContains=plan;subject=b PLAN", "B"},
      {"status=unread", "B C E"},
      {"status=READ", "F D A"},
      {"status=flagged", "F D B A C E"},
      {"hasAttachment=false", "E"},
      {"hasAttachment=true;from=c@", ""},
      {"from=ann;status=read;limit=2", "F D"},
  };
  for (const auto& [filters, expected] : cases) {
    Lines subjects;
    for (const auto& line : lines(inbox("audit", filters))) subjects.push_back(line.substr(line.rfind(" || ") + 4, 1));
    EXPECT_EQ(Text::join(subjects, " "), expected) << filters;
  }
  const auto size = std::filesystem::file_size(root / "mail/work/INBOX/cur/1773446400.0001.host:2,S");
  EXPECT_THAT(inbox("audit", "subject=A"),
              MatchesRegex(fmt::format("[^|]+2026[^|]+ \\|\\| {} \\|\\| Ann <ann@x.example> \\|\\| A", size)));
  EXPECT_EQ(inbox("messageId", "subjectContains=plan"), "2@x.example\n5@x.example");
  EXPECT_THAT(MailCriteria::mailMatchingMessageIDs("Work", "INBOX", {{"subjectContains", "plan"}}).ids,
              ElementsAre("2@x.example", "5@x.example"));
  EXPECT_EQ(preview("delete", "account=Work;mailbox=INBOX;status=read"), "3 message(s), 3.0 MB");
}

TEST_F(MailToolsDiskTest, searchAcrossAccountsUntilTheLimit) {
  account("Home");
  for (int i = 0; i < 30; ++i)
    for (const char* box : {"work/INBOX", "home/Lists"}) letter(box, "Hello", {.flags = "S"});
  letter("work/Lists", "Last");
  const auto search = [](const std::string& args) { return lines(call("search", "from=ann;" + args)); };
  EXPECT_EQ(search("").size(), 50U);
  EXPECT_EQ(search("limit=0").size(), 61U);
  EXPECT_EQ(search("limit=30").size(), 30U);
  EXPECT_EQ(search("account=home").size(), 30U);
  EXPECT_THAT(
      search("account=all;mailbox=lists;status=unread"),
      ElementsAre(MatchesRegex("Work/Lists \\|\\| [^|]+ \\|\\| [0-9]+ \\|\\| Ann <ann@x.example> \\|\\| Last")));
}

TEST_F(MailToolsDiskTest, readAndOpenTheNewestMatch) {
  giveScreen();
  letter("work/INBOX", "Report", {.body = "old\n"});
  letter("work/INBOX", "Report", {.received = midnight + 5, .body = "first of two\n\nOn Monday Bo wrote:\n> quoted\n"});
  letter("work/INBOX", "Report", {.received = midnight + 5, .body = "second of two\n"});
  letter("work/INBOX", "Re: Report", {.received = midnight + 9, .from = "bo@y.example", .body = "Newest."});
  EXPECT_EQ(inbox("body", "subject=report"), "first of two");
  EXPECT_EQ(inbox("body", "subjectContains=report"), "Newest.");
  EXPECT_EQ(inbox("body", "subjectContains=report;from=ANN"), "first of two");
  EXPECT_EQ(inbox("body", "subject=Report;subjectContains=re:"), "(no matching message)");
  EXPECT_EQ(inbox("open", "subjectContains=report"), "OK opened: Re: Report");
  EXPECT_THAT(Files::read(Text::trim(shownFile())).value_or(""), HasSubstr("Subject: Re: Report\n"));
}

TEST_F(MailToolsDiskTest, tellMailboxesOfOneNameApart) {
  letter("work/Old", "In Old");
  letter("work/old", "In old");
  EXPECT_THAT(inbox("headers", "mailbox=OLD"), HasSubstr("In Old"));
  EXPECT_EQ(inbox("move", "mailbox=old 2;dest=INBOX;from=ann"), "OK moved 1 message(s) -> INBOX");
  EXPECT_EQ(files("work/Old"), Lines{"In Old:"});
  EXPECT_EQ(files("work/old"), Lines{});
}

TEST_F(MailToolsDiskTest, flagAndMarkAsJunk) {
  for (const char* subject : {"A", "B", "C"}) letter("work/INBOX", subject, {.flags = "S"});
  EXPECT_EQ(inbox("flag", "subject=a"), "OK flagged 1 message(s)");
  EXPECT_EQ(inbox("flag", "subject=b;color=Green"), "OK flagged 1 message(s)");
  EXPECT_EQ(inbox("flag", "subject=c;color=pink"), "OK flagged 1 message(s)");
  EXPECT_EQ(files("work/INBOX"), (Lines{"A:FS", "B:FSab", "C:FS"}));
  EXPECT_EQ(get("mail/work/INBOX/dovecot-keywords"), "0 $MailFlagBit0\n1 $MailFlagBit1\n");
  EXPECT_EQ(inbox("flag", "from=ann;flag=FALSE;color=red"), "OK unflagged 3 message(s)");
  EXPECT_THAT(files("work/INBOX"), testing::Each(Not(HasSubstr("F"))));
  EXPECT_EQ(inbox("junk", "subject=a;junk=no"), "OK marked 1 message(s) as junk");
  EXPECT_EQ(files("work/INBOX")[0], "A:Sc");
  EXPECT_EQ(inbox("junk", "from=ann;junk=False"), "OK unmarked 3 message(s)");
  EXPECT_THAT(files("work/INBOX"), testing::Each(Not(HasSubstr("c"))));
}

TEST_F(MailToolsDiskTest, deleteAndMoveWhatMatchesAndNothingElse) {
  for (int i = 0; i < 40; ++i) letter("work/INBOX", i % 2 ? "Odd" : "Even", {.received = midnight + i, .flags = "S"});
  mailbox("work/Kept/Odd");
  EXPECT_EQ(inbox("move", "subject=odd;dest=kept/odd"), "OK moved 20 message(s) -> kept/odd");
  EXPECT_EQ(files("work/Kept/Odd"), Lines(20, "Odd:S"));
  EXPECT_EQ(files("work/INBOX"), Lines(20, "Even:S"));
  EXPECT_EQ(inbox("delete", "before=2026-03-15;to=me@work"), "OK deleted 20 message(s) -> Trash");
  EXPECT_EQ(files("work/Trash").size(), 20U);
  EXPECT_EQ(inbox("delete", "mailbox=Trash;subject=even"), "OK deleted 20 message(s) -> Trash");
  EXPECT_THAT(files("work/Trash"), IsEmpty());
  EXPECT_EQ(inbox("delete", "subject=even"), "OK deleted 0 message(s) -> Trash");
}

TEST_F(MailToolsDiskTest, giveUpOnWhatDoesNotGo) {
  letter("work/INBOX", "Here");
  put("mail/work/Trash", "a file where the trash should be");
  EXPECT_EQ(inbox("delete", "subject=here"), "OK deleted 0 message(s) -> Trash");
  // What is moved there is found here again, in each of thirty passes.
  mailbox("work/Mirror");
  std::filesystem::remove(root / "mail/work/Mirror/cur");
  std::filesystem::create_directory_symlink(root / "mail/work/INBOX/cur", root / "mail/work/Mirror/cur");
  EXPECT_EQ(inbox("move", "subject=here;dest=Mirror"), "OK moved 30 message(s) -> Mirror");
  EXPECT_EQ(files("work/INBOX"), Lines{"Here:"});
}

TEST_F(MailToolsDiskTest, draftAndSend) {
  account("Home");
  put("../a b.txt", "attached");
  const std::string mail = "to=bo@x.example;subject=Hi;body=Line one\nLine two;from=ME@work.example";
  const std::string attached = mail + ";attachments=" + (directory / "a b.txt").string() + ", ";
  EXPECT_EQ(call("draft", attached), "OK draft saved");
  ASSERT_THAT(files("work/Drafts"), ElementsAre(StartsWith("Hi:D")));
  EXPECT_THAT(get("mail/work/Drafts/cur/" + Files::list(root / "mail/work/Drafts/cur")[0]),
              AllOf(HasSubstr("From: Me <me@work.example>\n"), HasSubstr("To: bo@x.example\n"),
                    HasSubstr("filename=\"a b.txt\"")));
  EXPECT_EQ(sent("work"), "(nothing sent)");
  EXPECT_EQ(call("send", mail), "OK sent");
  EXPECT_THAT(sent("work"), AllOf(HasSubstr("From: Me <me@work.example>\n"), HasSubstr("Line one\nLine two")));
  EXPECT_EQ(call("send", mail + ";from=stranger@x.example"), "OK sent");
  EXPECT_THAT(sent("home"), HasSubstr("From: Me <me@home.example>\n"));

  std::filesystem::remove(directory / "work.eml");
  EXPECT_THAT(call("send", attached + "/no/such file"), MatchesRegex("execution error: .*\\((-43|-1700)\\)"));
  EXPECT_EQ(sent("work"), "(nothing sent)");
  account("Work", "; echo the line is cut >&2; exit 75");
  EXPECT_THAT(call("send", mail), AllOf(StartsWith("execution error: Mail got an error: "), HasSubstr("75"),
                                        HasSubstr("the line is cut"), HasSubstr("drafts")));
  EXPECT_EQ(files("work/Drafts").size(), 2U);
  EXPECT_EQ(files("work/Sent").size(), 1U);
}

TEST_F(MailToolsDiskTest, notifyTheOwnerFromTheOwner) {
  account("Home");
  put("../home/config.json", R"({"notifyEmail": "me@work.example"})");
  EXPECT_EQ(call("notify", "subject=Digest;body=All well.;to=bo@x.example"), "OK notify sent to me@work.example");
  EXPECT_THAT(sent("work"), AllOf(HasSubstr("From: Me <me@work.example>\n"), HasSubstr("To: me@work.example\n"),
                                  HasSubstr("All well."), Not(HasSubstr("bo@x"))));
}

TEST_F(MailToolsDiskTest, answerInTheThreadAndForward) {
  letter("work/INBOX", "Plan",
         {.to = "me@work.example, Cy <cy@z.example>",
          .body = "What now?\n",
          .headers = "Cc: di@z.example\nReferences: <root@x.example>\n"});
  EXPECT_EQ(inbox("reply", "subject=plan;body=Go on."), "OK replied");
  EXPECT_THAT(sent("work"), AllOf(HasSubstr("To: Ann <ann@x.example>\n"), HasSubstr("Subject: Re: Plan\n"),
                                  HasSubstr("In-Reply-To: <1@x.example>\n"), Not(HasSubstr("cy@z"))));
  EXPECT_THAT(sent("work"), testing::ContainsRegex("References:[ \n]*<root@x.example>[ \n]*<1@x.example>"));
  EXPECT_THAT(sent("work"),
              testing::ContainsRegex("\n\nGo on.\n\nOn [^\n]*2026[^\n]*, Ann <ann@x.example> wrote:\nWhat now\\?\n"));
  EXPECT_EQ(files("work/INBOX"), Lines{"Plan:R"});
  EXPECT_EQ(inbox("replyAll", "subject=plan;body=To all."), "OK replied");
  EXPECT_THAT(sent("work"), AllOf(HasSubstr("cy@z.example"), HasSubstr("di@z.example"), HasSubstr("To all.")));
  EXPECT_EQ(inbox("forward", "subject=plan;to=bo@y.example;body=See below."), "OK forwarded to bo@y.example");
  EXPECT_THAT(sent("work"), AllOf(HasSubstr("To: bo@y.example\n"), HasSubstr("Subject: Fwd: Plan\n"),
                                  HasSubstr("\n\nSee below.\n\n---------- Forwarded message ----------\n"
                                            "From: Ann <ann@x.example>\nSubject: Plan\n\nWhat now?")));
  EXPECT_EQ(files("work/Sent").size(), 3U);
}

}  // namespace
