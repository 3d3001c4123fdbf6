// Guards against scripts of hostile size: depth that would exhaust the stack, rings of lists, and work
// that grows faster than its input.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <functional>

#include "Platform/linux/applescript/Interpreter.h"
#include "tests/applescript/Shelf.h"

namespace {

AppleScript::Outcome run(const std::string& script) {
  Shelf::Shop shop;
  return AppleScript::run(script, {}, shop);
}

std::string times(std::size_t count, const std::string& text) {
  std::string result;
  for (std::size_t i = 0; i < count; ++i) result += text;
  return result;
}

constexpr std::size_t many = 100'000;

class Deep : public testing::TestWithParam<std::pair<const char*, std::string>> {};

TEST_P(Deep, endsInAnErrorOrAResultButNeverACrash) {
  const auto outcome = run(GetParam().second);
  EXPECT_TRUE(outcome.ok || outcome.number == -2706 || outcome.number == -2741) << outcome.number << outcome.message;
}

INSTANTIATE_TEST_SUITE_P(
    Scripts, Deep,
    testing::Values(
        std::pair{"parentheses", times(many, "(")}, std::pair{"closed", times(many, "(") + "1" + times(many, ")")},
        std::pair{"braces", times(many, "{") + times(many, "}")}, std::pair{"not", times(many, "not ") + "true"},
        std::pair{"minus", times(many, "- ") + times(many, "+ ") + "1"}, std::pair{"power", "1" + times(many, " ^ 1")},
        std::pair{"ofChain", times(many, "item 1 of ") + "{}"}, std::pair{"possessives", "x" + times(many, "'s y")},
        std::pair{"ifs", times(many, "if true then\n")}, std::pair{"oneLineIfs", times(many, "if true then ")},
        std::pair{"tells", times(many, "tell me to ")}, std::pair{"tries", times(many, "try\n")},
        std::pair{"elseIfs", "if false then\n" + times(many, "else if false then\n") + "end if"},
        std::pair{"patterns", "set " + times(many, "{") + "a" + times(many, "}") + " to 1"},
        std::pair{"mutual", std::string("on f(n)\nreturn 1 + g({n})\nend\non g(n)\nreturn f(n)\nend\nf(1)")},
        std::pair{"nestedList", std::string("set l to {}\nrepeat 200000 times\nset l to {l}\nend\nl as text")},
        std::pair{"nestedFreed", std::string("set l to {}\nrepeat 200000 times\nset l to {x:l}\nend\nset l to 1")},
        std::pair{"ringCompared", std::string("set l to {}\nset end of l to l\nset m to {}\nset end of m to m\nl = m")},
        std::pair{"ringReturned", std::string("set l to {}\nset end of l to l\nl")},
        std::pair{"references", std::string("set r to {1}\nrepeat 200000 times\nset r to a reference to item 1 of "
                                            "r\nend\ncontents of r")}),
    [](const auto& script) { return std::string(script.param.first); });

double seconds(const std::string& script) {
  const auto begin = std::chrono::steady_clock::now();
  const auto outcome = run(script);
  EXPECT_TRUE(outcome.ok) << outcome.message;
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

// Eight times the input may cost eight times the time, and some; squared growth would be 64 times.
void expectLinear(const std::function<std::string(std::size_t)>& script, std::size_t size) {
  seconds(script(size));
  const double few = std::min(seconds(script(size)), seconds(script(size)));
  EXPECT_LT(seconds(script(8 * size)), 24 * few + 0.01);
}

TEST(Linear, gatheringAndJoining) {
  expectLinear(
      [](std::size_t n) {
        return "set acc to {}\nrepeat with i from 1 to " + std::to_string(n) +
               "\nset end of acc to \"x\" & i\nend\nset AppleScript's text item delimiters to \",\"\ncount (acc as text)";
      },
      4000);
}

TEST(Linear, walkingTheCharactersOfAText) {
  expectLinear(
      [](std::size_t n) {
        return "set s to \"" + times(n, "é") + "\"\nset k to 0\nrepeat with c in characters of s\nif (c as text) is " +
               "\"é\" then set k to k + 1\nend\nrepeat with i from 1 to count of s\ncharacter i of s\nend\nk";
      },
      2000);
}

TEST(Linear, lookingAtPartsOfEachParagraph) {
  expectLinear(
      [](std::size_t n) {
        return "set s to \"" + times(n, "é è\n") + "\"\nrepeat with i from 1 to count of paragraphs of s\n" +
               "set p to paragraph i of s\ncount words of p\ncharacters of p\nend";
      },
      1000);
}

TEST(Linear, readingALongScript) {
  expectLinear([](std::size_t n) { return "set x to 1" + times(n, " + 1") + "\n" + times(n, "set y to x & \"a\"\n"); },
               4000);
}

TEST(Linear, concatenatingALongChain) {
  expectLinear([](std::size_t n) { return "count (\"\"" + times(n, " & \"0123456789\"") + ")"; }, 4000);
}

TEST(Bulk, readsEachObjectOnceInOrder) {
  Shelf::Shop shop;
  shop.app->box("Many", std::vector<std::string>(1000, "thing"));
  Shelf::Thing::reads = 0;
  const auto outcome = AppleScript::run("tell application \"Shelf\" to name of every packed item of box 1", {}, shop);
  EXPECT_EQ(outcome.result.list()->size(), 1000u);
  EXPECT_EQ(Shelf::Thing::reads, 1000);
}

TEST(Bulk, aFilterStopsAtItsFirstHit) {
  Shelf::Shop shop;
  shop.app->box("Many", std::vector<std::string>(1000, "thing"));
  Shelf::Thing::reads = 0;
  AppleScript::run("tell application \"Shelf\" to first packed item of box 1 whose name is \"thing\"", {}, shop);
  EXPECT_EQ(Shelf::Thing::reads, 1);
}

TEST(Places, areCountedInUTF16CodeUnits) {
  const auto outcome = run("set x to \"é😀\"\nset y to nope");
  EXPECT_EQ(outcome.begin, 24u);
  EXPECT_EQ(outcome.end, 28u);
}

TEST(Bytes, thatAreNotUTF8AreRefused) {
  EXPECT_TRUE(run("set x to \"\xff\"").isSyntax);
  EXPECT_TRUE(run(std::string("set x to \"a\0b\"\nx", 16)).ok);
}

}  // namespace
