// Guards what scripts mean. Each line of transcripts/*.txt is a script, "; " standing for an end of line,
// and what it comes to: a value in source form, an error, or a syntax error. Programs of many lines lie in
// programs/*.applescript with their output in the comment on top.
#include <gtest/gtest.h>

#include "Platform/Files.h"
#include "Platform/Text.h"
#include "Platform/linux/applescript/Interpreter.h"
#include "tests/applescript/Shelf.h"

namespace {

namespace fs = std::filesystem;

fs::path folder(const char* name) { return fs::path("tests/applescript") / name; }

void stock(Shelf::Shop& shop) {
  shop.app->box("Toys", {"Ball", "Bear", "car"});
  shop.app->box("Books", {"Bärbuch"});
  shop.app->box("Empty", {});
}

std::string told(const AppleScript::Outcome& outcome) {
  if (outcome.ok) return AppleScript::sourceForm(outcome.result);
  return (outcome.isSyntax ? "syntax error " : "error ") + std::to_string(outcome.number) + ": " + outcome.message;
}

std::string told(const std::string& script, const std::vector<std::string>& arguments = {}) {
  Shelf::Shop shop;
  stock(shop);
  return told(AppleScript::run(script, arguments, shop));
}

class Transcript : public testing::TestWithParam<std::string> {};

TEST_P(Transcript, comesToWhatStandsBesideEachLine) {
  std::size_t lines = 0;
  for (const std::string& line : Text::split(*Files::read(folder("transcripts") / GetParam()), '\n', true)) {
    const std::size_t arrow = line.rfind(" --> ");
    if (line.starts_with("# ")) continue;
    ASSERT_NE(arrow, std::string::npos) << line;
    EXPECT_EQ(told(Text::replaceAll(line.substr(0, arrow), "; ", "\n")), line.substr(arrow + 5)) << line;
    ++lines;
  }
  EXPECT_GT(lines, 0u);
}

TEST(Program, printsWhatItsFirstCommentSays) {
  for (const std::string& name : Files::list(folder("programs"))) {
    const std::string script = *Files::read(folder("programs") / name);
    const std::size_t begin = script.find("(*") + 2;
    const std::string expected(Text::trim(std::string_view(script).substr(begin, script.find("*)") - begin)));
    Shelf::Shop shop;
    stock(shop);
    const auto outcome = AppleScript::run(script, {"first", "second one", "3"}, shop);
    EXPECT_EQ(outcome.ok ? AppleScript::resultForm(outcome.result) : told(outcome), expected) << name;
  }
}

INSTANTIATE_TEST_SUITE_P(All, Transcript, testing::ValuesIn(Files::list(folder("transcripts"))),
                         [](const auto& file) { return file.param.substr(0, file.param.find('.')); });

}  // namespace
