// Guards where things are looked for: the home, the programs.
#include <gtest/gtest.h>

#include "Platform/Bundle.h"
#include "Platform/Environment.h"
#include "Platform/Files.h"
#include "Platform/Program.h"
#include "tests/platform/TemporaryDirectory.h"

namespace {

TEST(Environment, theHomeIsNeverEmptyAndTheTildeStandsForIt) {
  const Environment::Setting set("HOME", "/home/someone");
  EXPECT_EQ(Environment::expandTilde("~"), "/home/someone");
  EXPECT_EQ(Environment::expandTilde("~//a b"), "/home/someone/a b");
  for (const char* text : {"~name/a", "a/~", "", "/abs"}) EXPECT_EQ(Environment::expandTilde(text), text);
  const Environment::Setting empty("HOME", "");
  EXPECT_EQ(Environment::value("HOME"), std::nullopt);
  EXPECT_TRUE(Environment::home().is_absolute());
}

TEST(Environment, aRelativeDataDirectoryIsPassedOver) {
  const Environment::Setting home("HOME", "/home/someone");
  const Environment::Setting relative("XDG_DATA_HOME", "data");
  EXPECT_EQ(Environment::userDataDirectory(), "/home/someone/.local/share");
  const Environment::Setting absolute("XDG_DATA_HOME", "/data");
  EXPECT_EQ(Environment::userDataDirectory(), "/data");
}

TEST(Program, theOwnersChoiceComesFirstIfItCanRun) {
  const TemporaryDirectory folder;
  const Environment::Setting chosen("TAVRO_PLATFORM_BIN", folder.path());
  const auto otherwise = Platform::program("osascript");
  EXPECT_TRUE(otherwise == "/usr/bin/osascript" || otherwise == Bundle::url() / "Contents/Desktop/osascript");
  Files::replace(folder / "osascript", "#!/bin/sh\n", 0600);
  EXPECT_EQ(Platform::program("osascript"), otherwise);
  Files::setMode(folder / "osascript", 0700);
  EXPECT_EQ(Platform::program("osascript"), folder / "osascript");
  EXPECT_EQ(Platform::program("no-such-program"), "/usr/bin/no-such-program");
}

}  // namespace
