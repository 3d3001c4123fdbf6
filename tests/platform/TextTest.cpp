// Guards texts as people mean them, against bytes as they come: the short roads for ASCII must answer
// as Unicode's tables do, and no byte may crash or slow down an operation.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

#include "Platform/Text.h"
#include "Platform/Uuid.h"

namespace {

using testing::ElementsAre;

TEST(Text, repairsEachMaximalBadSequenceByOneMark) {
  // The last rows are the examples of the Unicode Standard, tables 3-8 to 3-11.
  const std::vector<std::pair<std::string, std::string>> table = {
      {"", ""},
      {"h\xC3\xA9 \xE6\xBC\xA2 \xF0\x9F\x98\x80", "h\xC3\xA9 \xE6\xBC\xA2 \xF0\x9F\x98\x80"},
      {"a\xFFz", "a?z"},
      {"12345678\x80", "12345678?"},
      {"\xF0\x9F\x98", "?"},
      {"\xC0\xAF\xE0\x80\xBF\xF0\x81\x82\x41", "????????A"},
      {"\xED\xA0\x80\xED\xBF\xBF\xED\xAF\x41", "????????A"},
      {"\xF4\x91\x92\x93\xFF\x41\x80\xBF\x42", "?????A??B"},
      {"\xE1\x80\xE2\xF0\x91\x92\xF1\xBF\x41", "????A"}};
  for (const auto& [bytes, shown] : table) {
    const std::string repaired = Text::replaceAll(shown, "?", "\xEF\xBF\xBD");
    EXPECT_EQ(Text::repairUTF8(bytes), repaired) << testing::PrintToString(bytes);
    EXPECT_EQ(Text::isValidUTF8(bytes), bytes == repaired) << testing::PrintToString(bytes);
    EXPECT_EQ(Text::decodeUTF8(bytes).has_value(), bytes == repaired) << testing::PrintToString(bytes);
  }
}

TEST(Text, countsWhatPeopleSeeAsOneCharacter) {
  const std::vector<std::pair<std::string, std::size_t>> table = {
      {"", 0},          {"abc", 3},
      {"a\r\nb", 3},    {"a\r\rb\n\r", 6},
      {"e\u0301", 1},   {"cafe\u0301s", 5},
      {"\u0301", 1},    {"👨‍👩‍👧‍👦", 1},
      {"🇫🇷🇩🇪", 2},      {"👍🏽x", 2},
      {"각각", 2},      {"한", 1},
      {"\xFF\xFFx", 3}, {std::string("a\0b", 3), 3},
  };
  for (const auto& [text, count] : table) {
    EXPECT_EQ(Text::characterCount(text), count) << testing::PrintToString(text);
    const auto boundaries = Text::characterBoundaries(text);
    ASSERT_EQ(boundaries.size(), count + 1) << testing::PrintToString(text);
    for (std::size_t first = 0; first <= count + 1; ++first) {
      EXPECT_EQ(Text::firstCharacters(text, first), text.substr(0, boundaries[std::min(first, count)]))
          << testing::PrintToString(text) << " " << first;
    }
  }
}

TEST(Text, trimsUnicodesWhiteSpaceAndNothingElse) {
  const std::string everySpace = " \t\n\v\f\r\u0085\u00A0\u1680\u2000\u200A\u2028\u2029\u202F\u205F\u3000";
  const std::vector<std::pair<std::string, std::string>> table = {
      {everySpace + "a b" + everySpace, "a b"},
      {everySpace, ""},
      {"\u200Ba\uFEFF", "\u200Ba\uFEFF"},
      {"\xA0x\xA0", "\xA0x\xA0"},
      {"\x80\x80\x80\x80 ", "\x80\x80\x80\x80"},
      {" \xE3\x80 \x80", "\xE3\x80 \x80"},
      {std::string(" \0 ", 3), std::string("\0", 1)},
  };
  for (const auto& [text, trimmed] : table) EXPECT_EQ(Text::trim(text), trimmed) << testing::PrintToString(text);
  EXPECT_EQ(Text::trimBlanks(" \t a\u00A0\n \t"), "a\u00A0\n");
  EXPECT_EQ(Text::trimBlanks(" \t"), "");
}

TEST(Text, cutsAndJoinsPieces) {
  EXPECT_THAT(Text::split(",a,,b,", ','), ElementsAre("", "a", "", "b", ""));
  EXPECT_THAT(Text::split(",a,,b,", ',', true), ElementsAre("a", "b"));
  EXPECT_THAT(Text::split("", ','), ElementsAre(""));
  EXPECT_THAT(Text::lines("\na\r\nb\vc\fd\re\u0085f\u2028g\u2029\n\u00E2h"),
              ElementsAre("a", "b", "c", "d", "e", "f", "g", "\u00E2h"));
  EXPECT_THAT(Text::lines("\xE2\x80"), ElementsAre("\xE2\x80"));
  EXPECT_EQ(Text::join({"a", "", "b"}, " || "), "a ||  || b");
  EXPECT_EQ(Text::replaceAll("it's 'so'", "'", "'\\''"), "it'\\''s '\\''so'\\''");
  EXPECT_EQ(Text::replaceAll("aaa", "aa", "b"), "ba");
  EXPECT_EQ(Text::replaceAll("a", "", "b"), "a");
}

TEST(Text, comparesWithoutCaseAndSpelling) {
  struct Row {
    std::string haystack, needle;
    bool equal, contained;
  };
  const std::vector<Row> table = {{"Mail", "mAIL", true, true},
                                  {"Mail", "Mai", false, true},
                                  {"Mail", "", false, false},
                                  {"", "", true, false},
                                  {"CAFÉ crème", "cafe\u0301", false, true},
                                  {"E\u0301t\u00E9", "\u00E9TE\u0301", true, true},
                                  {"Straße", "STRASSE", true, true},
                                  {"\u212Aelvin", "KELVIN", true, true},
                                  {"I", "ı", false, false},
                                  {"İ", "i\u0307", true, true},
                                  {"ΣΊΣΥΦΟΣ", "σίσυφος", true, true},
                                  {"[\\]^_`{|}", "{|}~", false, false},
                                  {"@", "`", false, false},
                                  {"x\xFFy", "\uFFFDY", false, true},
                                  {std::string("a\0b", 3), std::string("\0B", 2), false, true}};
  for (const auto& [haystack, needle, equal, contained] : table) {
    EXPECT_EQ(Text::equalIgnoringCase(haystack, needle), equal) << haystack << " and " << needle;
    EXPECT_EQ(Text::containsIgnoringCase(haystack, needle), contained) << needle << " in " << haystack;
    EXPECT_EQ(Text::folded(haystack) == Text::folded(needle), equal) << haystack << " and " << needle;
  }
  EXPECT_EQ(Text::lowercase("MAIL ÀÉ İ"), "mail àé i\u0307");
  EXPECT_EQ(Text::uppercase("mail straße"), "MAIL STRASSE");
  EXPECT_EQ(Text::lowercase("TITLE I"), "title i");
  EXPECT_EQ(Text::composed("e\u0301"), "\u00E9");
}

TEST(Text, largeTextsTakeLinearTime) {
  const std::size_t size = 4'000'000;
  const std::string letters(size, 'a');
  const std::string needle(size / 2, 'a');
  std::string marks = "e";
  while (marks.size() < size) marks += "\u0301";
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_FALSE(Text::containsIgnoringCase(letters, needle + "b"));
  EXPECT_EQ(Text::trim(std::string(size, ' ') + "a" + std::string(size, ' ')), "a");
  EXPECT_EQ(Text::characterCount(marks), 1U);
  EXPECT_EQ(Text::repairUTF8(std::string(size, '\xFF')).size(), 3 * size);
  EXPECT_FALSE(Text::equalIgnoringCase(marks, letters));
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(30)) << "quadratic would be hours";
}

TEST(Text, readsNumbersWholeOrNotAtAll) {
  EXPECT_EQ(Text::parseInteger("+7"), 7);
  EXPECT_EQ(Text::parseInteger("-007"), -7);
  EXPECT_EQ(Text::parseInteger("9223372036854775807"), INT64_MAX);
  for (const char* text : {"", "+", "+-1", " 1", "1 ", "1.0", "0x1", "9223372036854775808", "١"})
    EXPECT_EQ(Text::parseInteger(text), std::nullopt) << text;
  EXPECT_EQ(Text::parseReal("+1e3"), 1000);
  EXPECT_EQ(Text::parseReal("-0.5"), -0.5);
  for (const char* text : {"", "nan", "inf", "1e999", "2,5", "0x1p3", "1.5x"})
    EXPECT_EQ(Text::parseReal(text), std::nullopt) << text;
}

TEST(Text, writesNumbersInTheShortestFormThatReadsBack) {
  for (const char* text : {"5", "2.5", "-0.1", "0", "100000000000000000000", "1e+21", "0.0001", "1e-05",
                           "0.30000000000000004", "1.7976931348623157e+308"})
    EXPECT_EQ(Text::decimal(Text::parseReal(text).value_or(-1)), text);
}

TEST(TextPattern, matchesInBytesAndReplacesLiterally) {
  const Text::Pattern cited("(?m)^é+> ?.*$");
  const std::string text = "🙂\nÉ\néé> cited 🙂\nend";
  const auto match = cited.firstMatch(text);
  ASSERT_TRUE(match.has_value());
  EXPECT_EQ(text.substr(match->begin, match->end - match->begin), "éé> cited 🙂");
  EXPECT_EQ(cited.replaceAll(text, "$1\\"), "🙂\nÉ\n$1\\\nend");
  EXPECT_TRUE(Text::Pattern("^É$", Text::Pattern::Case::insensitive).firstMatch("é").has_value());
  EXPECT_EQ(Text::Pattern("x*").replaceAll("éx\xFF", "-"), "-é--\xFF-");
  EXPECT_EQ(Text::Pattern("a").firstMatch(""), std::nullopt);
  EXPECT_THROW(Text::Pattern("(").firstMatch("a"), Error);
  const std::string page = "<script>" + std::string(1'000'000, 'x') + "</script>";
  EXPECT_EQ(Text::Pattern("<script\\b[^>]*>[\\s\\S]*?</script>").replaceAll(page + "a" + page, ""), "a");
}

TEST(Uuid, isUpperCaseVersion4AndFresh) {
  const std::string id = Uuid::random();
  EXPECT_TRUE(Text::Pattern("^[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}$").firstMatch(id));
  EXPECT_NE(Uuid::random(), id);
  EXPECT_EQ(Uuid::shortId().size(), 8U);
}

}  // namespace
