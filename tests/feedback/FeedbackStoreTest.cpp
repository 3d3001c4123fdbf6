// The table of feedback: what a guard keeps, what a prompt is shown and when it is over, what a bad row costs.
#include <limits>

#include "Platform/Json.h"
#include "tests/feedback/FeedbackHome.h"

namespace {

using testing::ElementsAre;

class FeedbackStoreTest : public FeedbackHome {
 protected:
  void sql(const std::string& script) const {
    GRDBQueue::open(home / "tavro.sqlite", Migrator())->write([&](Database& database) {
      database.executeScript(script);
    });
  }
};

TEST(FeedbackItem, isOneLineInAPromptUnlessTheOwnerWroteSeveral) {
  FeedbackItem item{.id = "A1", .kind = FeedbackItem::Kind::directive, .text = "no\nrecruiters"};
  EXPECT_EQ(item.injectionLine(), "• [directive] no\nrecruiters");
  item.kind = FeedbackItem::Kind::verdict;
  EXPECT_EQ(item.injectionLine(), "• [verdict] no\nrecruiters");
  item.kind = FeedbackItem::Kind::question;
  EXPECT_EQ(item.injectionLine(), "• [answer] #A1 \"no recruiters\" → (no answer)");
  const std::string family = "👩‍👩‍👧";
  item.text = "\n";
  for (int i = 0; i < 200; ++i) item.text += family;
  item.answer = "a\nb";
  EXPECT_EQ(count(item.injectionLine(), family), 79);
  EXPECT_TRUE(item.injectionLine().ends_with("\" → a\nb"));
}

TEST(FeedbackItem, isExchangedAsJson) {
  const FeedbackItem full{"A1", FeedbackItem::Kind::question, "q", "x", "mail", "h", "a", "1", "2", "3", "4", "cli"};
  EXPECT_EQ(JsonText::write(toJson(full)),
            R"({"id":"A1","kind":"question","text":"q","automation":"x","channel":"mail","handle":"h","answer":"a",)"
            R"("createdAt":"1","answeredAt":"2","injectedAt":"3","expiresAt":"4","source":"cli"})");
  EXPECT_EQ(feedbackItemFromJson(Json(toJson(full))), full);
  for (const char* key : {"id", "kind", "text", "createdAt", "source", "expiresAt"}) {
    Json bad(toJson(full));
    bad[key] = 5;
    EXPECT_FALSE(feedbackItemFromJson(bad)) << key;
  }
}

TEST_F(FeedbackStoreTest, overwritesNeitherARowNorAnAnswerNorAFirstInjection) {
  Dates::FixedClock clock(at("2026-03-14T10:00:00Z"));
  EXPECT_TRUE(db->feedback.add(question("a")));
  EXPECT_FALSE(db->feedback.add(item("a", Kind::directive)));
  EXPECT_TRUE(store.answer("a", "yes"));
  store.markInjected({"a"});
  clock.set(at("2026-03-14T11:00:00Z"));
  EXPECT_FALSE(store.answer("a", "no"));
  EXPECT_FALSE(store.answer("b", "no"));
  store.markInjected({"a", "b"});
  FeedbackItem expected = question("a", "yes");
  expected.createdAt = "2026-03-14T10:00:00Z";
  expected.answeredAt = expected.injectedAt = expected.createdAt;
  EXPECT_THAT(store.recent(std::nullopt, 5), ElementsAre(expected));
}

TEST_F(FeedbackStoreTest, showsAPromptWhatConcernsItsAutomationOldestFirst) {
  const Dates::FixedClock clock(at("2026-03-14T10:00:00Z"));
  auto add = [&, second = 59](FeedbackItem added, const std::optional<std::string>& automation = "x") mutable {
    added.automation = automation;
    added.createdAt = "2026-03-14T09:00:" + std::to_string(second--) + "Z";
    store.add(added);
  };
  add(item("forAll", Kind::directive), std::nullopt);
  add(item("verdict", Kind::verdict));
  add(question("answered", "yes"));
  add(item("others", Kind::directive), "y");
  add(question("open"));
  add(question("othersAnswer", "yes"), "y");
  add(question("nobodysAnswer", "yes"), std::nullopt);
  FeedbackItem over = item("over", Kind::directive);
  over.expiresAt = Timestamps::now();
  add(over);
  EXPECT_EQ(ids(store.pendingInjection("x")), "answered verdict forAll ");
  store.markInjected({"verdict", "forAll"});
  EXPECT_EQ(ids(store.takeInjection("x")), "answered verdict forAll ");
  EXPECT_EQ(ids(store.takeInjection("x")), "verdict forAll ");
  EXPECT_EQ(ids(store.openQuestions("cockpit")), "open ");
  EXPECT_EQ(ids(store.openQuestions("mail")), "");
  EXPECT_EQ(ids(store.recent("y", 3)), "forAll others othersAnswer ");
}

TEST_F(FeedbackStoreTest, deletesWhatIsOverAndAnswersThatWereDeliveredLongAgo) {
  const Dates::FixedClock clock(at("2026-03-31T12:00:00Z"));
  using Number = std::numeric_limits<long long>;
  const auto add = [&](const char* id, const char* createdAt, std::optional<long long> hours, bool injected = false) {
    FeedbackItem added = question(id, "yes");
    added.createdAt = createdAt;
    if (injected) added.injectedAt = createdAt;
    if (hours) added.expiresAt = FeedbackItem::expiryAfter(*hours);
    store.add(added);
  };
  add("delivered29", "2026-03-02T12:00:00Z", std::nullopt, true);
  add("delivered31", "2026-02-28T12:00:00Z", std::nullopt, true);
  add("never", "2020-01-01T00:00:00Z", std::nullopt);
  add("hour", "2026-03-31T11:00:00Z", 1);
  add("now", "2026-03-31T11:00:00Z", 0);
  add("ever", "2026-03-31T11:00:00Z", Number::max());
  add("past", "2026-03-31T11:00:00Z", Number::min());
  EXPECT_EQ(store.gc(Number::max()), 2);
  EXPECT_EQ(store.gc(), 1);
  EXPECT_EQ(ids(store.recent(std::nullopt, 10)), "hour ever delivered29 never ");
  EXPECT_EQ(store.gc(Number::min()), 1);
}

TEST_F(FeedbackStoreTest, aRowThatCantBeReadFailsTheFacadeAndHidesNothingFromTheOwner) {
  store.add(item("good", Kind::directive));
  const auto insert = [&](const std::string& values) {
    sql("INSERT INTO feedback (id, kind, text, automation, created_at, source) VALUES (" + values + ");");
  };
  insert("'later', 'wish', CAST(x'6dff' AS TEXT), 'x', '1', 's'");
  const auto items = store.recent("x", 5);
  ASSERT_EQ(ids(items), "good later ");
  EXPECT_EQ(items[1].kind, Kind::directive);
  EXPECT_EQ(items[1].text, "m\uFFFD");
  insert("'blob', 'directive', x'00', 'x', '3', 's'");
  insert("NULL, 'directive', 't', 'x', '2', 's'");
  EXPECT_TRUE(store.recent("x", 5).empty() && store.pendingInjection("x").empty() && store.takeInjection("x").empty());
  EXPECT_THROW(db->feedback.recent("x", 5), DatabaseError);
  const auto listing = db->feedback.list("x");
  EXPECT_EQ(ids(listing.items), "good later ");
  EXPECT_THAT(listing.unreadable, ElementsAre("blob", ""));
}

TEST_F(FeedbackStoreTest, withoutADatabaseAnswersWithNothingAndOneThatCantBeWrittenStillGivesDirectives) {
  FeedbackStore absent(nullptr);
  absent.add(question("a"));
  absent.markInjected({"a"});
  absent.remove("a");
  EXPECT_TRUE(!absent.answer("a", "yes") && absent.recent("x", 5).empty() && absent.gc() == 0);
  EXPECT_EQ(absent.freshId().size(), 8);
  store.add(item("order", Kind::directive));
  sql("CREATE TRIGGER full BEFORE UPDATE ON feedback BEGIN SELECT RAISE(ABORT, 'full'); END;");
  store.add(question("a", "yes"));
  EXPECT_EQ(ids(store.takeInjection("x")), "order a ");
}

}  // namespace
