// The move of an older installation into the home: it copies, never overwrites, never deletes, and writes nothing
// outside the home, whatever the old places hold.
#include "Platform/Json.h"
#include "TavroCore/harness/LoopName.h"
#include "TavroCore/harness/TavroMigration.h"
#include "tests/harness/Home.h"

namespace {

using testing::ElementsAre;

class MigrationTest : public HomeTest {
 protected:
  void loop(const std::string& name, const Json& definition) {
    write(scheduler / "loops" / (name + ".json"), definition.dump());
  }
  Json migrated(const std::string& file) const { return JsonText::parse(read(home / file)).value_or(Json()); }

  const std::filesystem::path scheduler = user / ".vendry";
  const std::filesystem::path legacy = user / "data/tavro";
};

TEST_F(MigrationTest, copiesTheOldDataOnceAndOverwritesNothing) {
  write(legacy / "config.json", "old");
  write(legacy / "pending/A.json", "{}");
  write(legacy / ".migrated", "x");
  write(home / "config.json", "new");
  TavroMigration::runIfNeeded();
  EXPECT_EQ(read(home / "config.json"), "new");
  EXPECT_EQ(read(home / "pending/A.json"), "{}");
  EXPECT_EQ(read(home / ".gitignore"),
            "# Tavro home. Version only your automations/ - everything else is\n"
            "# per-machine runtime, databases, the pending queue, or secrets.\n"
            "/*\n!/automations/\n!/.gitignore");
  EXPECT_EQ(read(home / ".migrated"), "");
  write(legacy / "later", "x");
  TavroMigration::runIfNeeded();
  EXPECT_FALSE(Files::exists(home / "later"));
  EXPECT_EQ(read(legacy / "config.json"), "old");
}

TEST_F(MigrationTest, movesAnAgentsPromptAndEnabledFlagOutOfItsDefinition) {
  const std::string own = (user / "Dev/Projects/Vendry/loops/digest").string();
  write(std::filesystem::path(own) / "CLAUDE.md", "from CLAUDE.md");
  write(std::filesystem::path(own) / "JOURNAL.md", "journal");
  write(scheduler / "state/digest.json", R"({"z":1,"lastRun":"2026"})");
  write(scheduler / "logs/digest.log", "log");
  loop("digest", {{"kind", "agent"}, {"prompt", "p"}, {"enabled", false}, {"cwd", own}, {"every", 5}});
  loop("Möwe 1", {{"prompt", "p"}, {"cwd", "/elsewhere"}});
  loop("lost", {{"prompt", "p"}, {"cwd", own + "/lost"}, {"enabled", 0}});
  loop("script", {{"kind", "script"}, {"prompt", "p"}, {"enabled", false}});
  TavroMigration::runIfNeeded();

  EXPECT_EQ(read(home / "automations/digest/AGENT.md"), "from CLAUDE.md");
  EXPECT_EQ(read(home / "automations/digest/JOURNAL.md"), "journal");
  EXPECT_EQ(read(home / "automations/digest/loop.json"), "{\n  \"every\": 5,\n  \"kind\": \"agent\"\n}");
  EXPECT_EQ(read(home / ".runtime/state/digest.json"), R"({"enabled":false,"lastRun":"2026","z":1})");
  EXPECT_EQ(read(home / ".runtime/logs/digest.log"), "log");

  EXPECT_EQ(read(home / "automations/Möwe 1/AGENT.md"), "p");
  EXPECT_EQ(migrated("automations/Möwe 1/loop.json"), (Json{{"cwd", "/elsewhere"}}));
  EXPECT_EQ(read(home / "automations/lost/AGENT.md"), "p");
  EXPECT_EQ(migrated("automations/lost/loop.json"), Json::object());
  EXPECT_EQ(migrated(".runtime/state/lost.json"), (Json{{"enabled", true}}));

  EXPECT_EQ(migrated("automations/script/loop.json"), (Json{{"kind", "script"}, {"prompt", "p"}}));
  EXPECT_FALSE(Files::exists(home / "automations/script/AGENT.md"));
  EXPECT_EQ(migrated(".runtime/state/script.json"), (Json{{"enabled", false}}));
}

TEST_F(MigrationTest, passesOverWhatItCantTake) {
  loop("taken", {{"prompt", "old"}});
  loop("..", {{"prompt", "out"}});
  loop("$(id)", {{"prompt", "out"}});
  loop("good", {{"prompt", "p"}});
  write(scheduler / "loops/array.json", "[1]");
  write(scheduler / "loops/cut.json", R"({"prompt":)");
  write(scheduler / "loops/notes.txt", "{}");
  write(home / "automations/taken/loop.json", "mine");
  TavroMigration::runIfNeeded();
  EXPECT_EQ(read(home / "automations/taken/loop.json"), "mine");
  EXPECT_THAT(Files::list(home / "automations"), ElementsAre("good", "taken"));
  EXPECT_THAT(Files::list(home), ElementsAre(".gitignore", ".migrated", ".runtime", "automations"));
}

TEST_F(MigrationTest, turnsNoPausedLoopOnWhoseStateItCantWrite) {
  loop("paused", {{"kind", "script"}, {"enabled", false}});
  write(home / ".runtime/state", "a file where the states should be");
  TavroMigration::runIfNeeded();
  EXPECT_FALSE(Files::exists(home / "automations/paused/loop.json"));
}

TEST(LoopName, takesLettersAndDigitsOfAnyScriptAndNothingThatAShellOrAPathReads) {
  for (const char* good : {"a", "9-lives", "Daily digest_2", "Möwe", "e\u0301", "日報", "٣"}) {
    EXPECT_TRUE(isSafeLoopName(good)) << good;
  }
  for (const std::string bad : {"",     ".",   "..",   ".a",  "-a",      "_a",      " a",      "a/b",   "a.b",  "a'b",
                                "a\nb", "a\n", "a\tb", "a$b", "\u0301a", "a\u200b", "a\u202e", "a\xff", "🙂", "½"}) {
    EXPECT_FALSE(isSafeLoopName(bad)) << bad;
  }
  EXPECT_FALSE(isSafeLoopName(std::string_view("a\0", 2)));
  EXPECT_TRUE(isSafeLoopName(std::string(100, 'a')));
  EXPECT_FALSE(isSafeLoopName(std::string(101, 'a')));
}

}  // namespace
