// Guards where a loop's window goes: the displays of a real X server, in the coordinates that scripts use.
#include <gmock/gmock.h>

#include <chrono>

#include "Platform/Process.h"
#include "TavroCore/automations/VendryScreens.h"
#include "tests/windows/VirtualScreen.h"

namespace {

using testing::ElementsAre;

void setMonitor(const std::string& name, const std::string& geometry, const std::string& output) {
  const auto result = Process::run({.program = "xrandr", .arguments = {"--setmonitor", name, geometry, output}});
  ASSERT_TRUE(result.status.ok()) << result.errors;
}

std::vector<std::string> described() {
  std::vector<std::string> lines;
  for (const auto& each : VendryScreens::all())
    lines.push_back(std::to_string(each.index) + " " + each.bounds + " " + each.size + (each.isMain ? " main" : ""));
  return lines;
}

TEST(Screens, areTheMonitorsFromTheTopLeftOfThePrimaryOne) {
  const VirtualScreen screen;
  EXPECT_THAT(described(), ElementsAre("0 {0, 0, 1600, 600} 1600x600 main"));
  setMonitor("Left", "700/180x500/130+0+0", "screen");
  setMonitor("*Right", "900/230x400/100+700+200", "none");
  EXPECT_THAT(described(), testing::UnorderedElementsAre(testing::EndsWith(" {-700, -200, 0, 300} 700x500"),
                                                         testing::EndsWith(" {0, 0, 900, 400} 900x400 main")));
  EXPECT_EQ(VendryScreens::bounds(0), VendryScreens::all()[0].bounds);
  EXPECT_FALSE(VendryScreens::bounds(5));
  EXPECT_FALSE(VendryScreens::bounds(-1));
}

TEST(Screens, areNoneWhereNoServerAnswers) {
  const VirtualScreen screen;
  screen.halt();
  const auto begun = std::chrono::steady_clock::now();
  EXPECT_THAT(described(), ElementsAre());
  setenv("DISPLAY", ":99999", 1);
  EXPECT_THAT(described(), ElementsAre());
  unsetenv("DISPLAY");
  EXPECT_THAT(described(), ElementsAre());
  EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(10));
}

}  // namespace
