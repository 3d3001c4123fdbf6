// Guards which channel carries a question, what its mail is called, and which of the lines that a search of the mail
// gives is the owner's reply.
#include <gmock/gmock.h>

#include "Platform/Text.h"
#include "TavroCore/feedback/AskChannels.h"
#include "TavroCore/feedback/MailAskChannel.h"

namespace {

using testing::ElementsAre;

FeedbackItem question(const std::string& text) {
  return {.id = "1A2B3C4D", .kind = FeedbackItem::Kind::question, .text = text, .createdAt = "", .source = ""};
}

/// The mailbox of the reply among these lines, "|" its subject; "-" without one.
std::string hit(const std::string& lines, const std::string& asked, const std::vector<std::string>& owners = {}) {
  const auto found =
      MailAskChannel::replyHit(Text::replaceAll(lines, "#", "[tavro#1A2B3C4D]"), question(asked), owners);
  if (!found) return "-";
  return found->account + ":" + found->mailbox + "|" + Text::replaceAll(found->subject, "[tavro#1A2B3C4D]", "#");
}

TEST(AskChannels, fallBackToMail) {
  EXPECT_THAT(AskChannels::ids(), ElementsAre("mail", "cockpit"));
  EXPECT_EQ(AskChannels::make("cockpit").displayName(), "Cockpit");
  EXPECT_EQ(AskChannels::make("cockpit").deliver(question("x")), std::nullopt);
  for (const std::optional<std::string>& id : {std::optional<std::string>(), std::optional<std::string>("imessage")})
    EXPECT_EQ(AskChannels::make(id).id(), "mail");
}

TEST(AskChannels, callAMailByItsQuestionsFirstLine) {
  const std::pair<std::string, std::string> cases[] = {
      {"Go?", "Go?"},
      {"\n \r\n\nGo?\r\nSay.", "Go?"},
      {"\n\n", "\n\n"},
      {std::string(300, 'x'), std::string(120, 'x')},
      {Text::replaceAll(std::string(130, '.'), ".", "e\u0301"),
       Text::replaceAll(std::string(120, '.'), ".", "e\u0301")},
  };
  for (const auto& [text, subject] : cases)
    EXPECT_EQ(MailAskChannel::subject(question(text)), "[tavro#1A2B3C4D] " + subject);
}

TEST(AskChannels, tellTheReplyFromTheQuestion) {
  const std::string asked = "Before:  or  AFTER?";
  struct {
    const char* lines;
    const char* reply;
  } const cases[] = {
      {"Work/INBOX || d || 1 || me || # Go?\nWork/Sent || d || 1 || me || Re: # Go?", "Work:Sent|Re: # Go?"},
      {"Work || d || 1 || me || RE: # Go?", "Work:INBOX|RE: # Go?"},
      {"Work/Archive/2026 || d || 1 || me || # re: Go?", "Work:Archive/2026|# re: Go?"},
      {"W/I || d || me || Re: # Go?", "-"},
      {"W/I|| d || 1 || me || Re: # Go?\n\n || d || 1 || me || Re: # Go?\n/I || d || 1 || me || Re: #", "-"},
      // A question may hold what replies and lines are told by.
      {"W/I || d || 1 || me || # Before: or after?\nW/I || d || 1 || me || Re: # Before: or after?",
       "W:I|Re: # Before: or after?"},
      {"W/I || d || 1 || me || # Before:\nW/I || d || 1 || me || Fwd: # Before:  or AFTER?", "-"},
      {"W/I || d || 1 || me || # Before: or after? re: [EXTERN]", "-"},
      {"W/I || d || 1 || me || # Before: or\nW/I || d || 1 || me || Re: # Bef", "W:I|Re: # Bef"},
      {"W/I || d || 1 || A || B || Re: # this || that", "W:I|Re: # this || that"},
      // Nor is what the owner hasn't sent yet.
      {"W/Drafts || d || 1 || me || Re: #\nW/INBOX.Entwürfe || d || 1 || me || Re: #\nW/I || d || 1 || me || Re: #",
       "W:I|Re: #"},
  };
  for (const auto& [lines, reply] : cases) EXPECT_EQ(hit(lines, asked), reply) << lines;
}

TEST(AskChannels, takeAnAnswerFromTheOwnerAlone) {
  const std::pair<const char*, bool> senders[] = {
      {"ann@x.example", true},
      {"\"Lee, Ann\" <ANN@X.example>", true},
      {"ann@x.example (Ann)", true},
      {"Ann", true},
      {"joann@x.example", false},
      {"Ann <ann@x.example.evil.example>", false},
      {"\"ann@x.example\" <eve@evil.example>", false},
  };
  for (const auto& [sender, counts] : senders) {
    const auto line = "W/I || d || 1 || " + std::string(sender) + " || Re: #";
    EXPECT_EQ(hit(line, "Go?", {"bo@y.example", "Ann <ann@x.example>"}), counts ? "W:I|Re: #" : "-") << sender;
    EXPECT_EQ(hit(line, "Go?"), "W:I|Re: #");
  }
  // Mail would give the text of the newest of the two.
  EXPECT_EQ(hit("W/I || d || 1 || joann@x.example || RE: #\nW/I || d || 1 || ann@x.example || Re: #\n"
                "W/Archive || d || 1 || ann@x.example || Re: #",
                "Go?", {"ann@x.example"}),
            "W:Archive|Re: #");
}

TEST(AskChannels, listEachAccountOnce) {
  EXPECT_THAT(MailAskChannel::inboxAccounts("B/INBOX || x\n\n/INBOX || x\nA/INBOX || a/b\nB || y"),
              ElementsAre("B", "A"));
}

}  // namespace
