// Guards a question's way by mail: out through the account's send command, and back as the reply that a mail program
// delivers into the owner's Maildir, on the desktop's real Mail.
#include <fmt/format.h>

#include <algorithm>
#include <future>

#include "Platform/Bundle.h"
#include "Platform/Process.h"
#include "Platform/Text.h"
#include "TavroCore/feedback/MailAskChannel.h"
#include "tests/personal/PersonalDesk.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Lines = std::vector<std::string>;

class AskMailTest : public PersonalDesk {
 protected:
  /// What is sent arrives in the inbox at once, dated later than any reply here.
  AskMailTest() {
    const auto inbox = (root / "mail/work/INBOX").string();
    put("mail/work/account.json",
        fmt::format(R"({{"name": "Work", "emails": ["Me <me@work.example>"], )"
                    R"("send": "cat > {0}/tmp/q && mv {0}/tmp/q {0}/new/2000000000.$$.host"}})",
                    inbox));
    for (const char* box : {"INBOX", "Archive", "Sent", "Drafts"})
      for (const char* part : {"cur", "new", "tmp"})
        std::filesystem::create_directories(root / "mail/work" / box / part);
    settings("");
  }

  void settings(const std::string& cleanup, const std::string& notifyEmail = "me@work.example") const {
    put("../tavro/config.json", fmt::format(R"({{"notifyEmail": "{}", "askCleanup": "{}"}})", notifyEmail, cleanup));
  }
  void letter(const std::string& box, const std::string& subject, const std::string& body,
              const std::string& from = "Me <me@work.example>") {
    ++count_;
    put(fmt::format("mail/work/{}/cur/1773446400.{:03}.host:2,S", box, count_),
        fmt::format("From: {}\nTo: me@work.example\nSubject: {}\nMessage-ID: <{}@x>\n{}", from, subject, count_, body));
  }
  /// The subjects of a mailbox's files.
  Lines subjects(const std::string& box) const {
    Lines found;
    for (const char* part : {"cur", "new"})
      for (const auto& name : Files::list(root / "mail/work" / box / part)) {
        const auto text = get(fmt::format("mail/work/{}/{}/{}", box, part, name));
        const auto at = text.find("Subject: ") + 9;
        found.push_back(text.substr(at, text.find('\n', at) - at));
      }
    std::sort(found.begin(), found.end());
    return found;
  }

  FeedbackItem asked(const std::string& text) const {
    FeedbackItem item{.id = fmt::format("{:08}", ++asked_),
                      .kind = FeedbackItem::Kind::question,
                      .text = text,
                      .createdAt = "",
                      .source = ""};
    mail.deliver(item);
    return item;
  }
  std::string answer(const FeedbackItem& item) const {
    const auto replies = mail.harvest({item});
    return replies.empty() ? "(none)" : replies.front().answer;
  }

  const MailAskChannel mail;
  int count_ = 0;
  mutable int asked_ = 0;
};

TEST_F(AskMailTest, readsTheReplyAsMailProgramsWriteIt) {
  const std::string longQuestion =
      "Où: ici, là,  ou —\t" + Text::replaceAll(std::string(40, '.'), ".", "peut-être: ") + "?";
  const std::string quote =
      "\n\nOn Mon, 14 Nov 2026 at 09:00, Me <me@work.example> wrote:\n> Where: here or there?\n> \n"
      "> - Reply to this mail to answer\n";
  const std::pair<std::string, std::string> replies[] = {
      {"\nThere.\n" + quote, "There."},
      {"Content-Type: text/plain; charset=utf-8\nContent-Transfer-Encoding: quoted-printable\n\nL=C3=A0, =\nplease.\n\n"
       "--=20\nMe\nWork Ltd\n",
       "Là, please."},
      {"Content-Type: text/plain; charset=utf-8\nContent-Transfer-Encoding: base64\n\n"
       "VGhlcmUg4oCTIGJ1dCBub3QgYmVmb3JlIHR3by4KCj4gV2hlcmU6IGhlcmUgb3IgdGhlcmU/Cg==\n",
       "There – but not before two."},
      {"MIME-Version: 1.0\nContent-Type: multipart/alternative; boundary=b\n\n--b\n\nThere, I think." + quote +
           "\n--b\nContent-Type: text/html\n\n<div>There, I <b>think</b>.</div>\n--b--\n",
       "There, I think."},
      {"Content-Type: text/html; charset=utf-8\n\n<html><body><div>There &amp; then.</div><div>On Monday Me wrote:</div>"
       "<blockquote type=\"cite\">Where: here or there?</blockquote></body></html>\n",
       "There & then."},
      {"\n> Where: here or there?\n", "(none)"},
      {"\n* Me <me@work.example> [2026-11-23 06:25]:\n> Where: here or there?\n\nHere.\n", "(none)"},
  };
  for (const auto& [body, text] : replies) {
    const auto item = asked(longQuestion);
    EXPECT_EQ(answer(item), "(none)") << "the question's own mail";
    letter("INBOX", "Re: " + MailAskChannel::subject(item), body);
    EXPECT_EQ(answer(item), text) << body;
  }
}

TEST_F(AskMailTest, takesNoAnswerButTheOwnersFinishedOne) {
  const auto item = asked("Go?");
  const auto reply = "Re: " + MailAskChannel::subject(item);
  letter("Drafts", reply, "\nI would say\n");
  letter("INBOX", reply, "\nStop!\n", "Jo <home@work.example>");
  EXPECT_EQ(answer(item), "(none)");
  settings("", "");
  EXPECT_EQ(answer(item), "(none)") << "of anybody, where the settings name no owner";
  settings("", " ME@work.example ");
  letter("INBOX", "Re: AW: " + MailAskChannel::subject(item), "\nGo.\n");
  EXPECT_EQ(answer(item), "Go.");
  const auto other = asked("And then?");
  EXPECT_THAT(mail.harvest({other, item}), ElementsAre(AskChannel::Reply{item.id, "Go."}));
}

TEST_F(AskMailTest, tidiesTheInboxAsTheOwnerWantsIt) {
  const auto item = asked("Go?");
  const auto subject = MailAskChannel::subject(item);
  for (const char* box : {"INBOX", "Sent"}) letter(box, "Re: " + subject, "\nGo.\n");
  letter("INBOX", "Other", "\nText\n");
  settings("Off");
  mail.cleanup(item);
  EXPECT_EQ(subjects("INBOX").size(), 3U);
  settings("trash");
  mail.cleanup(item);
  EXPECT_THAT(subjects("Archive"), ElementsAre("Re: " + subject, subject));
  settings("DELETE");
  mail.cleanup(asked("Go?"));
  EXPECT_EQ(subjects("Trash").size(), 1U);
  EXPECT_THAT(subjects("INBOX"), ElementsAre("Other"));
  EXPECT_EQ(subjects("Sent").size(), 3U);
}

TEST_F(AskMailTest, leavesTheQuestionOpenWhenMailLosesTheReply) {
  ::setenv("TAVRO_PLATFORM_BIN", (directory / "bin").c_str(), 1);
  const FeedbackItem item{.id = "1", .text = "Go?", .createdAt = "", .source = ""};
  for (const auto& [body, text] : {std::pair("echo Go.", "Go."), std::pair("echo '(no matching message)'", "(none)"),
                                   std::pair("echo Go.; exit 1", "(none)")}) {
    put("../bin/osascript", "#!/bin/sh\nif [ $# -gt 10 ]; then echo 'W/I || d || 1 || me || Re: [tavro#1]'; else " +
                                std::string(body) + "; fi\n");
    Files::setMode(directory / "bin/osascript", 0700);
    EXPECT_EQ(answer(item), text) << body;
  }
  ::unsetenv("TAVRO_PLATFORM_BIN");
}

std::string run(std::vector<std::string> call) {
  call.insert(call.begin(), "run");
  const auto result = Process::run({.program = Bundle::url() / "tavro", .arguments = std::move(call), .input = ""});
  return std::string(Text::trim(result.output + result.errors));
}

TEST_F(AskMailTest, bringsTheAnswerBackOnceHoweverManyHarvest) {
  settings("", "");
  EXPECT_THAT(run({"ask", "text=Go?"}), HasSubstr("mail.notify failed: missing required argument: notify email"));
  EXPECT_EQ(run({"ask.answers"}), "(no operator feedback pending)");
  settings("");
  const auto said = run({"ask", "text=Before: or after?", "automation=digest"});
  EXPECT_THAT(said, testing::MatchesRegex("question #[0-9A-F]{8} asked via Mail .reply. for 'digest' - the answer .*"));
  EXPECT_EQ(run({"ask.harvest"}), "no new replies");
  const auto subject = subjects("INBOX").front();
  EXPECT_THAT(
      callTool("mail.body", "account=Work;mailbox=INBOX;subject=" + subject),
      "Before: or after?\n\n- Reply to this mail to answer (keep [tavro#" + said.substr(10, 8) + "] in the subject).");
  letter("INBOX", "Re: " + subject, "\nAfter.\n\n> Before: or after?\n");
  const auto harvest = [] { return run({"ask.harvest"}); };
  auto one = std::async(std::launch::async, harvest);
  auto two = std::async(std::launch::async, harvest);
  EXPECT_THAT((Lines{one.get(), two.get()}),
              testing::UnorderedElementsAre("✅ 1 reply(ies) harvested", "no new replies"));
  EXPECT_EQ(harvest(), "no new replies");
  EXPECT_EQ(run({"ask.answers"}), "• [answer] #" + said.substr(10, 8) + " \"Before: or after?\" → After.");
  EXPECT_THAT(subjects("INBOX"), IsEmpty());
  EXPECT_THAT(subjects("Archive"), ElementsAre("Re: " + subject, subject));
}

}  // namespace
