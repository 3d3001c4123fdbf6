// The six tools by the road that an agent's call takes: what is refused before anything is kept, and what each says.
#include "TavroCore/harness/ConfigDir.h"
#include "tests/feedback/FeedbackHome.h"
#include "tests/support/ToolCall.h"

namespace {

using testing::MatchesRegex;
using testing::StartsWith;

class AskToolsTest : public SharedHomeTest {
 protected:
  AskToolsTest() {
    ::unsetenv("VENDRY_RUN");
    for (const auto& item : kept()) FeedbackStore::shared().remove(item.id);
  }

  static std::vector<FeedbackItem> kept() { return FeedbackStore::shared().recent(std::nullopt, -1); }
  /// Through the gate, as an agent's client calls it.
  static std::string run(const std::string& id, const std::string& args = "") {
    const auto result = HarnessRunner::run(*Tools::find(id), arguments(args), "mcp", ConfigDir::url());
    if (const auto* failed = std::get_if<HarnessRunner::Failed>(&result)) return failed->message;
    const auto* executed = std::get_if<HarnessRunner::Executed>(&result);
    return executed ? executed->output : "(queued)";
  }
};

TEST_F(AskToolsTest, refuseACallThatLacksAnArgumentAndKeepNothing) {
  const std::tuple<const char*, const char*, const char*> cases[] = {{"ask", "text=", "text"},
                                                                     {"ask.answer", "text=x", "id"},
                                                                     {"ask.answer", "id=A;text=", "text"},
                                                                     {"feedback.tell", "", "text"},
                                                                     {"feedback.rm", "id=", "id"}};
  for (const auto& [id, args, missing] : cases)
    EXPECT_EQ(run(id, args), std::string("missing required argument: ") + missing) << id;
  EXPECT_THAT(run("ask", "text=q;channel=mail"), StartsWith("mail.notify failed: "));
  EXPECT_TRUE(kept().empty());
}

TEST_F(AskToolsTest, askAnswerAndForget) {
  EXPECT_THAT(Tools::find("ask")->summary, testing::HasSubstr("[channel=mail|cockpit] (default mail)"));
  run("ask", "text=Which?;channel=cockpit;automation=x;expiresHours=+48");
  const std::string id = kept().at(0).id;
  EXPECT_EQ(kept().at(0).source, "automation");
  EXPECT_TRUE(kept().at(0).expiresAt);
  EXPECT_EQ(run("ask.answers", "automation=x"), "#" + id + " [pending · cockpit] \"Which?\"");
  EXPECT_EQ(run("ask.answer", "id=" + id + ";text=blue"), "✅ answer recorded for #" + id);
  EXPECT_EQ(run("ask.answer", "id=" + id + ";text=red"), "⚠️ #" + id + " unknown or already answered");
  EXPECT_EQ(run("ask.answers"), "• [answer] #" + id + " \"Which?\" → blue");
  for (int i = 0; i < 2; ++i) EXPECT_EQ(run("feedback.rm", "id=" + id), "🗑 feedback " + id + " removed");
  for (const char* hours : {"abc", "", "1.5", "99999999999999999999"}) {
    EXPECT_THAT(run("feedback.tell", std::string("text=stop;expiresHours=") + hours),
                MatchesRegex("directive recorded \\(#.{8}\\)"));
    EXPECT_EQ(kept().at(0).expiresAt, std::nullopt) << hours;
  }
  EXPECT_EQ(kept().size(), 4);
}

TEST_F(AskToolsTest, aHarvestThatFindsNothingLeavesNoLineInTheAudit) {
  EXPECT_EQ(run("ask.harvest"), "no new replies");
  EXPECT_EQ(AuditLog::shared().count(), 0);
  EXPECT_TRUE(Tools::find("ask.harvest")->auditAutoRun("✅ 1 reply(ies) harvested"));
}

}  // namespace
