// Guards the program osascript: where the script and its arguments come from, and what callers read on
// its outputs and exit status.
#include <gtest/gtest.h>

#include "Platform/Bundle.h"
#include "Platform/Environment.h"
#include "Platform/Files.h"
#include "Platform/Process.h"

namespace {

namespace fs = std::filesystem;

class Osascript : public testing::Test {
 protected:
  void SetUp() override {
    folder_ = Files::temporaryName(Environment::temporaryDirectory(), "osascript", "test");
    Files::createDirectories(folder_);
  }
  void TearDown() override { Files::remove(folder_); }

  fs::path script(const std::string& text) {
    Files::replace(folder_ / "it's a script.applescript", text);
    return folder_ / "it's a script.applescript";
  }

  Process::Result run(std::vector<std::string> arguments, std::string input = "") {
    return Process::run({.program = Bundle::url() / "Contents/Desktop/osascript",
                         .arguments = std::move(arguments),
                         .input = std::move(input),
                         .environment = {{"TAVRO_DESKTOP", folder_ / "desktop"}}});
  }

  fs::path folder_;
};

constexpr const char* echo = "on run argv\nset AppleScript's text item delimiters to \"|\"\nargv as string\nend run\n";

TEST_F(Osascript, handsArgumentsToTheRunHandlerUnchanged) {
  const std::vector<std::string> odd = {"a \"b\" \\", "x\ny", "-1", "", "é"};
  std::vector<std::string> arguments = odd;
  arguments.insert(arguments.begin(), script(echo));
  EXPECT_EQ(run(arguments).output, "a \"b\" \\|x\ny|-1||é\n");
}

TEST_F(Osascript, readsStandardInput) {
  EXPECT_EQ(run({}, "return 1 + 1").output, "2\n");
  EXPECT_EQ(run({"-", "-x", "y"}, echo).output, "-x|y\n");
}

TEST_F(Osascript, takesStatementsAsLines) {
  EXPECT_EQ(run({"-e", "set x to {\"a\", {1, 2.5}}", "-e", "x"}).output, "a, 1, 2.5\n");
  EXPECT_EQ(run({"-ss", "-e", "{\"a\", {1}, {b:missing value}}"}).output, "{\"a\", {1}, {b:missing value}}\n");
}

TEST_F(Osascript, endsAResultWithALineEndAlsoWhereThereIsNone) { EXPECT_EQ(run({}, "").output, "\n"); }

TEST_F(Osascript, tellsErrorsWithFileAndPlace) {
  const fs::path file = script("set x to 1\nerror \"no — such\" number 5");
  const auto fromFile = run({file});
  EXPECT_EQ(fromFile.errors, file.string() + ":11:37: execution error: no — such (5)\n");
  EXPECT_EQ(fromFile.output, "");
  EXPECT_EQ(fromFile.status.code, 1);
  EXPECT_EQ(run({}, "item 2 of {1}").errors, "0:13: execution error: Can’t get item 2 of {1}. (-1728)\n");
  const auto syntax = run({}, "set x to foo bar");
  EXPECT_EQ(syntax.errors, "13:16: syntax error: Expected end of line, etc. but found identifier. (-2741)\n");
  EXPECT_EQ(syntax.status.code, 1);
}

TEST_F(Osascript, refusesWhatItDoesNotKnow) {
  for (const std::vector<std::string>& wrong :
       {std::vector<std::string>{"-1"}, {"-x", "1"}, {"-e"}, {"-l", "Other"}, {"-s", "q"}}) {
    const auto result = run(wrong, "1");
    EXPECT_EQ(result.status.code, 1) << wrong[0];
    EXPECT_NE(result.errors.find("usage: osascript"), std::string::npos) << wrong[0];
  }
  EXPECT_EQ(run({folder_ / "none"}).status.code, 1);
  EXPECT_EQ(run({folder_}).status.code, 1);
}

}  // namespace
