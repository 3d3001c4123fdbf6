// The whole road of an automation: an agent adds it through the server, the desktop's timer starts it with no hand on
// it, its outcome can be read, and the owner lets it be removed.
#include <fstream>

#include "tests/process/Programs.h"
#include "tests/timers/Launchd.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class AutomationsTest : public ProgramsTest {
 protected:
  // No systemd of the developer's own may take the timers.
  AutomationsTest() {
    for (const char* variable : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_RUNTIME_DIR"}) unsetenv(variable);
    std::filesystem::create_directory(scratch_ / "bin");
    std::ofstream(scratch_ / "bin/systemctl") << "#!/bin/sh\nexit 1\n";
    std::filesystem::permissions(scratch_ / "bin/systemctl", std::filesystem::perms::owner_all);
    setenv("PATH", ((scratch_ / "bin").string() + ":" + getenv("PATH")).c_str(), 1);
  }
  ~AutomationsTest() override { Launchd::end(scratch_ / "desktop", SIGKILL); }

  std::filesystem::path agent(const std::string& name) const {
    return scratch_ / "Library/LaunchAgents" / ("app.tavro.vendry." + name + ".plist");
  }
};

TEST_F(AutomationsTest, fireByThemselvesUntilTheyAreRemoved) {
  Server server({});
  const auto command = [this](const char* word) {
    return "echo " + std::string(word) + " in $VENDRY_RUN; echo >>'" + (scratch_ / word).string() + "'; exit 3";
  };
  EXPECT_THAT(server.call("auto_add", {{"name", "Täglich 1"}, {"every", "1"}, {"command", command("fired")}}),
              StartsWith("✅ automation 'Täglich 1' created"));
  server.call("auto_add", {{"name", "paused"}, {"every", "1"}, {"command", command("paused")}});
  EXPECT_EQ(server.call("auto_disable", {{"name", "paused"}}), "✅ 'paused' disabled");
  EXPECT_TRUE(std::filesystem::exists(agent("Täglich 1")));
  EXPECT_FALSE(std::filesystem::exists(agent("paused")));
  EXPECT_GT(Launchd::process(scratch_ / "desktop"), 0);

  std::string listed;
  EXPECT_TRUE(eventually(
      [&] {
        listed = std::filesystem::exists(scratch_ / "fired") ? server.call("auto_list", Json::object()) : "";
        return listed.find("FAILED(exit 3) @ ") != std::string::npos;
      },
      std::chrono::seconds(100)))
      << listed << Files::readIfPossible(home() / ".runtime/logs/Täglich 1.launchd.log").value_or("");
  EXPECT_THAT(server.call("auto_log", {{"name", "Täglich 1"}}), AllOf(HasSubstr("fired in "), HasSubstr("(exit 3)")));
  EXPECT_THAT(listed, HasSubstr("paused ✗"));
  EXPECT_FALSE(std::filesystem::exists(scratch_ / "paused"));

  const auto queued = server.call("auto_rm", {{"name", "Täglich 1"}});
  ASSERT_THAT(queued, HasSubstr("(id="));
  EXPECT_TRUE(std::filesystem::exists(agent("Täglich 1"))) << "it waits for the owner";
  const auto approved = tavro({"approve", queued.substr(queued.find("(id=") + 4, 8), "--yes"});
  EXPECT_TRUE(approved.status.ok()) << approved.errors;
  EXPECT_THAT(server.call("auto_list", Json::object()), Not(HasSubstr("Täglich 1")));
  EXPECT_FALSE(std::filesystem::exists(agent("Täglich 1")));
  EXPECT_TRUE(Files::listIfPossible(scratch_ / "desktop/launchd/jobs").empty());
}

}  // namespace
