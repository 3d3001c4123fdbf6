// Guards the timers' side of the store: the property lists, and when launchctl is told of them.
#include "Platform/Bundle.h"
#include "Platform/Environment.h"
#include "Platform/Json.h"
#include "Platform/PropertyList.h"
#include "tests/automations/LoopHome.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class AgentsTest : public LoopHome {
 protected:
  std::filesystem::path plist(const std::string& name) const {
    return user / "Library/LaunchAgents" / ("app.tavro.vendry." + name + ".plist");
  }
  Json timer(const std::string& name) const { return PropertyList::parse(read(plist(name))).value_or(Json()); }
  std::string call(const char* verb, const std::string& name) const {
    return "launchctl " + std::string(verb) + " gui/" + std::to_string(Environment::userId()) + " " +
           plist(name).string();
  }
};

TEST_F(AgentsTest, writeEachScheduleAsLaunchdReadsIt) {
  VendryEngine::ensureLayout();
  const std::string log = home / ".runtime/logs/x y.launchd.log";
  const Json others = {{"Label", "app.tavro.vendry.x y"},
                       {"ProgramArguments", {(Bundle::url() / "Contents/Helpers/tavro").string(), "auto-run", "x y"}},
                       {"RunAtLoad", false},
                       {"ProcessType", "Interactive"},
                       {"StandardOutPath", log},
                       {"StandardErrorPath", log}};
  const std::vector<std::pair<Schedule, Json>> schedules = {
      {{Schedule::Interval{90}}, Json::parse(R"({"StartInterval": 5400})")},
      {{Schedule::Interval{-1}}, Json::parse(R"({"StartInterval": 60})")},
      {{Schedule::Interval{9'000'000'000'000'000'000}}, Json::parse(R"({"StartInterval": 9223372036854775800})")},
      {{Schedule::Calendar{9, 5}}, Json::parse(R"({"StartCalendarInterval": {"Hour": 9, "Minute": 5}})")},
      {{Schedule::Hours{{13, 9}, 30}},
       Json::parse(R"({"StartCalendarInterval": [{"Hour": 13, "Minute": 30}, {"Hour": 9, "Minute": 30}]})")},
      {{Schedule::Hours{}}, Json::parse(R"({"StartCalendarInterval": []})")}};
  for (auto [schedule, expected] : schedules) {
    expected.update(others);
    VendryEngine::writePlist({.name = "x y", .schedule = schedule});
    EXPECT_EQ(timer("x y"), expected);
  }
  EXPECT_EQ(std::filesystem::status(plist("x y")).permissions(), std::filesystem::perms(0644));
}

TEST_F(AgentsTest, followTheirLoop) {
  VendryEngine::add(script("x"));
  EXPECT_THAT(calls(), ElementsAre(call("bootout", "x"), call("bootstrap", "x")));
  for (int twice = 0; twice < 2; ++twice) {
    VendryEngine::setEnabled("x", false);
    EXPECT_THAT(calls(), ElementsAre(call("bootout", "x")));
  }
  VendryEngine::edit(script("x", "true", {Schedule::Interval{5}}));
  EXPECT_FALSE(Files::exists(plist("x"))) << "an edit doesn't resume it";
  VendryEngine::setEnabled("x", true);
  EXPECT_EQ(timer("x")["StartInterval"], 300);
  calls();
  VendryEngine::remove("x");
  EXPECT_THAT(calls(), ElementsAre(call("bootout", "x")));
  EXPECT_FALSE(Files::exists(plist("x")));
}

TEST_F(AgentsTest, keepASystemLoopButNotItsSchedule) {
  VendryEngine::ensureSystemLoop("../x", "ask.harvest", 5);
  VendryEngine::ensureSystemLoop("gc", "ask.harvest", 5);
  EXPECT_THAT(calls(), ElementsAre(call("bootout", "gc"), call("bootstrap", "gc")));
  VendryEngine::edit(script("gc", "true", {Schedule::Interval{7}}));  // and no mail when it fails
  VendryEngine::ensureSystemLoop("gc", "ask.harvest", 5);
  const auto loop = VendryEngine::list().at(0);
  EXPECT_TRUE(loop.kind == Automation::Kind::tool && loop.isSystem && loop.notifyOnFail);
  EXPECT_EQ(loop.schedule, Schedule{Schedule::Interval{7}});
  calls();
  VendryEngine::ensureSystemLoop("gc", "ask.harvest", 5);
  EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(AgentsTest, moveWithTheHome) {
  for (const char* name : {"a", "b", "paused"}) VendryEngine::add(script(name));
  VendryEngine::setEnabled("paused", false);
  EXPECT_FALSE(VendryEngine::resyncIfRelocated());
  std::filesystem::rename(home, user / "elsewhere");
  ::setenv("TAVRO_HOME", (user / "elsewhere").c_str(), 1);
  write(plist("a"), "no list");  // passed over
  EXPECT_TRUE(VendryEngine::resyncIfRelocated());
  EXPECT_EQ(timer("b")["StandardOutPath"], (user / "elsewhere/.runtime/logs/b.launchd.log").string());
  EXPECT_FALSE(Files::exists(plist("paused")));
  EXPECT_FALSE(VendryEngine::resyncIfRelocated());
}

}  // namespace
