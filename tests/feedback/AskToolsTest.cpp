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

TEST_F(AskToolsTest, standInTheCatalogueAndNameTheChannels) {
  std::string ids;
  for (const Tool& tool : Tools::all()) {
    if (tool.id.starts_with("ask") || tool.id.starts_with("feedback"))
      ids += tool.id + ":" + std::string(rawValue(tool.effect)) + " ";
  }
  EXPECT_EQ(ids,
            "ask:create ask.answer:create ask.answers:read ask.harvest:create feedback.tell:create "
            "feedback.rm:create ");
  EXPECT_THAT(Tools::find("ask")->summary, testing::HasSubstr("[channel=mail|cockpit] (default mail)"));
}

TEST_F(AskToolsTest, refuseACallThatLacksAnArgumentAndKeepNothing) {
  const std::pair<const char*, const char*> cases[] = {{"ask text=", "text"},       {"ask ", "text"},
                                                       {"ask.answer text=x", "id"}, {"ask.answer id=A;text=", "text"},
                                                       {"feedback.tell ", "text"},  {"feedback.rm id=", "id"}};
  for (const auto& [call, missing] : cases) {
    const std::string text = call;
    const auto blank = text.find(' ');
    EXPECT_EQ(run(text.substr(0, blank), text.substr(blank + 1)), std::string("missing required argument: ") + missing)
        << call;
  }
  EXPECT_THAT(run("ask", "text=q;channel=mail"), StartsWith("mail.notify failed: "));
  EXPECT_TRUE(kept().empty());
}

TEST_F(AskToolsTest, askAnswerAndForget) {
  EXPECT_EQ(run("ask.answers"), "(no operator feedback pending)");
  EXPECT_THAT(run("ask", "text=Which?;channel=cockpit;automation=x;expiresHours=+48"),
              MatchesRegex("question #.{8} asked via Cockpit for 'x' - the answer will come back on the next run"));
  const std::string id = kept().at(0).id;
  EXPECT_EQ(kept().at(0).source, "automation");
  EXPECT_TRUE(kept().at(0).expiresAt);
  EXPECT_EQ(run("ask.answers", "automation=x"), "#" + id + " [pending · cockpit] \"Which?\"");
  EXPECT_EQ(run("ask.answer", "id=" + id + ";text=blue"), "✅ answer recorded for #" + id);
  EXPECT_EQ(run("ask.answer", "id=" + id + ";text=red"), "⚠️ #" + id + " unknown or already answered");
  EXPECT_EQ(run("ask.answers"), "• [answer] #" + id + " \"Which?\" → blue");
  EXPECT_EQ(run("feedback.rm", "id=" + id), "🗑 feedback " + id + " removed");
  EXPECT_EQ(run("feedback.rm", "id=" + id), "🗑 feedback " + id + " removed");
  EXPECT_TRUE(kept().empty());
}

TEST_F(AskToolsTest, anExpiryThatCantBeReadIsNone) {
  for (const char* hours : {"abc", "", "1.5", "99999999999999999999"}) {
    EXPECT_THAT(run("feedback.tell", std::string("text=stop;expiresHours=") + hours),
                MatchesRegex("directive recorded \\(#.{8}\\)"));
    ASSERT_EQ(kept().size(), 1) << hours;
    EXPECT_EQ(kept().at(0).expiresAt, std::nullopt) << hours;
    EXPECT_EQ(kept().at(0).source, "conversation");
    FeedbackStore::shared().remove(kept().at(0).id);
  }
}

TEST_F(AskToolsTest, aHarvestThatFindsNothingLeavesNoLineInTheAudit) {
  EXPECT_EQ(run("ask.harvest"), "no new replies");
  EXPECT_EQ(AuditLog::shared().count(), 0);
  run("ask.answers");
  EXPECT_EQ(AuditLog::shared().count(), 1);
  const auto& isAudited = Tools::find("ask.harvest")->auditAutoRun;
  EXPECT_TRUE(isAudited("✅ 1 reply(ies) harvested"));
}

}  // namespace
