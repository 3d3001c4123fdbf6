// What asking keeps and says, what a harvest records and counts, and the text of the prompt's block, in which each
// answer stands once. In place of osascript stands a program that writes down its calls and has a reply to every
// question.
#include "Platform/Environment.h"
#include "TavroCore/feedback/AskService.h"
#include "tests/feedback/FeedbackHome.h"

namespace {

using testing::MatchesRegex;
using testing::StartsWith;

class AskServiceTest : public FeedbackHome {
 protected:
  AskServiceTest() {
    ::setenv("TAVRO_PLATFORM_BIN", (user / "bin").c_str(), 1);
    ::unsetenv("VENDRY_RUN");
    setUp(R"({"askCleanup":"off","notifyEmail":"o@x.example"})");
    write(user / "bin/osascript", "#!/bin/sh\ncat > /dev/null; printf x >> " + calls().string() + R"(
case "$*" in *" all all "*)
  tag=$(printf '%s' "$*" | grep -o '\[tavro#[^]]*\]')
  printf 'Work/INBOX || 2026-03-14 || 1 || o@x.example || Re: %s' "$tag" ;;
*) echo blue ;; esac
)");
    Files::setMode(user / "bin/osascript", 0700);
  }
  ~AskServiceTest() override {
    ::unsetenv("TAVRO_PLATFORM_BIN");
    ::unsetenv("VENDRY_RUN");
  }

  void setUp(const std::string& settings) const { write(home / "config.json", settings); }
  std::filesystem::path calls() const { return user / "calls"; }
  std::string ask(const std::optional<std::string>& channel, const std::optional<std::string>& automation = "x",
                  std::optional<long long> hours = std::nullopt) {
    return service.ask("Which?", channel, automation, hours, "test");
  }
  FeedbackItem newest() { return store.recent(std::nullopt, -1).at(0); }
  FeedbackItem mailed(const std::string& id, const std::optional<std::string>& answer = std::nullopt) {
    FeedbackItem result = question(id, answer);
    result.channel = "mail";
    return result;
  }

  AskService service{store};
};

TEST_F(AskServiceTest, keepsTheQuestionWithItsRunAndTheChannelItWentBy) {
  const Dates::FixedClock clock(at("2026-03-14T10:00:00Z"));
  EXPECT_THAT(ask("cockpit", "x", 2), MatchesRegex("question #[0-9A-F]{8} asked via Cockpit for 'x' - the answer will "
                                                   "come back on the next run"));
  FeedbackItem expected = question(newest().id);
  expected.text = "Which?";
  expected.expiresAt = "2026-03-14T12:00:00Z";
  EXPECT_EQ(newest(), expected);
  EXPECT_EQ(read(calls()), "(no file)");
  const auto lastChannel = [&] {
    const auto last = newest();
    EXPECT_EQ(last.automation, Environment::value("VENDRY_RUN"));
    store.remove(last.id);
    return last.channel;
  };
  store.remove(expected.id);
  EXPECT_THAT(ask("imessage", std::nullopt), testing::HasSubstr(" asked via Mail (reply) - the answer"));
  EXPECT_EQ(lastChannel(), "mail");
  ::setenv("VENDRY_RUN", "nightly", 1);
  setUp(R"({"askChannel":"cockpit"})");
  ask(std::nullopt, std::nullopt);
  EXPECT_EQ(lastChannel(), "cockpit");
  setUp(R"({"askChannel":"","notifyEmail":"o@x.example"})");
  ask(std::nullopt, std::nullopt);
  EXPECT_EQ(lastChannel(), "mail");
  service.directive("order", std::nullopt, std::nullopt, "test");
  EXPECT_EQ(newest().automation, std::nullopt) << "an order without a name is to every automation, in a run too";
}

TEST_F(AskServiceTest, keepsNoQuestionThatCouldNotGoOut) {
  setUp("{}");
  try {
    ask("mail");
    ADD_FAILURE() << "asked nobody";
  } catch (const Error& failure) {
    EXPECT_THAT(failure.description(), StartsWith("mail.notify failed: "));
  }
  EXPECT_TRUE(store.recent(std::nullopt, -1).empty());
  ASSERT_NO_THROW(AskService(*std::make_unique<FeedbackStore>(nullptr)).ask("q", "cockpit", "x", 1, "test"));
}

TEST_F(AskServiceTest, tellsARunItsAnswersOnceAndItsOrdersEachTime) {
  EXPECT_EQ(service.injectionBlock("x"), "");
  Dates::FixedClock clock(at("2026-03-14T10:00:00Z"));
  store.add(question("A1", "blue\n=== END"));
  clock.set(at("2026-03-14T10:00:01Z"));
  service.directive("no\nrecruiters", std::nullopt, 1, "test");
  service.recordVerdict("was wrong", "x", 2);
  EXPECT_EQ(newest().source, "test");
  const std::string head =
      "=== DECISIONS / ANSWERS FROM YOUR OPERATOR ===\n"
      "Honor these instructions. To ask the operator a question: `tavro run ask text=\"...\"`.\n";
  const std::string tail = "\n" + std::string(45, '=');
  EXPECT_EQ(service.injectionBlock("x"), head +
                                             "• [answer] #A1 \"text of A1\" → blue\n=== END\n• [directive] no\n"
                                             "recruiters\n• [verdict] was wrong" +
                                             tail);
  EXPECT_EQ(service.injectionBlock("x"), head + "• [directive] no\nrecruiters\n• [verdict] was wrong" + tail);
  clock.set(at("2026-03-14T11:00:01Z"));
  EXPECT_EQ(service.injectionBlock("x"), head + "• [verdict] was wrong" + tail);
  EXPECT_EQ(service.injectionBlock("y"), "");
}

TEST_F(AskServiceTest, summarisesWithoutDelivering) {
  EXPECT_EQ(service.summary(std::nullopt), "(no operator feedback pending)");
  FeedbackItem open = question("open");
  open.text = std::string(40, 'a') + "\n" + std::string(200, 'b');
  open.channel = std::nullopt;
  store.add(open);
  EXPECT_EQ(service.summary("x"), "#open [pending · ?] \"" + std::string(40, 'a') + "\n" + std::string(39, 'b') + "\"");
  store.answer("open", "red");
  EXPECT_EQ(count(service.summary(std::nullopt) + service.summary("x"), "b\" → red"), 2);
  EXPECT_EQ(service.summary("y"), "(no operator feedback pending)");
  EXPECT_EQ(count(service.injectionBlock("x"), "[answer]"), 1);
}

TEST_F(AskServiceTest, aHarvestCountsWhatItRecordsAndDeletesWhatIsOver) {
  FeedbackItem over = mailed("over");
  over.expiresAt = FeedbackItem::expiryAfter(0);
  store.add(over);
  store.add(question("cockpits"));
  EXPECT_EQ(service.harvestAll(), 0);
  EXPECT_EQ(read(calls()), "(no file)") << "nothing was open, so no mail is looked at";
  EXPECT_FALSE(store.answer("over", "late")) << "it has been deleted";
  store.add(mailed("A1A1A1A1"));
  store.add(mailed("B2B2B2B2", "by hand"));
  EXPECT_EQ(service.harvestAll(), 1);
  EXPECT_THAT(service.summary("x"), testing::HasSubstr("#A1A1A1A1 \"text of A1A1A1A1\" → blue"));
  EXPECT_THAT(service.summary("x"), testing::HasSubstr("→ by hand"));
  EXPECT_EQ(service.harvestAll(), 0);
}

TEST_F(AskServiceTest, ofHarvestsRunsAndOwnersAtOnceOneRecordsAnAnswerAndOneDeliversIt) {
  const int processes = 6, questions = 12;
  const auto id = [](int i) { return "QQQQQQ" + std::to_string(10 + i); };
  for (int i = 0; i < questions; ++i) store.add(mailed(id(i)));
  store.add(item("order", Kind::directive));
  db.reset();
  store = FeedbackStore(nullptr);
  inProcesses(processes, [&](int number) {
    FeedbackStore own(std::make_shared<TavroDB>(home));
    AskService all(own);
    long long recorded = number == 0 ? all.harvestAll() : 0;
    std::string blocks;
    for (int i = 0; i < questions; ++i) {
      if (number > 0 && all.answer(id(i), "by hand")) ++recorded;
      blocks += all.injectionBlock("x");
    }
    write(user / std::to_string(number), std::string(static_cast<std::size_t>(recorded), '!') + blocks);
  });
  std::string told;
  for (int number = 0; number < processes; ++number) told += read(user / std::to_string(number));
  EXPECT_EQ(count(told, "!"), questions);
  for (int i = 0; i < questions; ++i) EXPECT_EQ(count(told, "#" + id(i)), 1) << told;
  EXPECT_EQ(count(told, "text of order"), processes * questions);
}

}  // namespace
