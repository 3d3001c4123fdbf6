// Guards the reader against texts that are made to hurt, and the writer against failing at all.
#include <gtest/gtest.h>

#include "Platform/Json.h"

namespace {

std::string nested(std::size_t depth, const std::string& open, const std::string& close) {
  std::string text;
  for (std::size_t level = 0; level < depth; ++level) text += open;
  text += "1";
  for (std::size_t level = 0; level < depth; ++level) text += close;
  return text;
}

TEST(JsonText, refusesWhatIsNotJson) {
  using namespace std::string_view_literals;
  for (const std::string_view text :
       {""sv, " "sv, "{"sv, "nul"sv, "[1,]"sv, "{\"a\":1,}"sv, "'a'"sv, "1 2"sv, "01"sv, "\"\xFF\""sv, "\"\\"sv,
        "\"\\ud800\""sv, "1e999"sv, "{}\0"sv, "\"a\0\""sv, "[1]\0[2]"sv})
    EXPECT_FALSE(JsonText::parse(text)) << testing::PrintToString(text);
  EXPECT_EQ(JsonText::parse(" null "), Json());
  EXPECT_EQ(JsonText::parse(R"("\u0000")"), Json(std::string(1, '\0')));
  EXPECT_FALSE(JsonText::parseObject("[]").has_value());
  EXPECT_EQ(JsonText::parseTexts(R"({"b":"2","a":"1"})"), (std::map<std::string, std::string>{{"a", "1"}, {"b", "2"}}));
  EXPECT_FALSE(JsonText::parseTexts(R"({"a":1})").has_value());
}

TEST(JsonText, measuresTheNestingBeforeAnythingIsBuilt) {
  const std::size_t limit = JsonText::depthLimit;
  EXPECT_TRUE(JsonText::parse(nested(limit, "[", "]")).has_value());
  EXPECT_FALSE(JsonText::parse(nested(limit + 1, "[", "]")).has_value());
  EXPECT_FALSE(JsonText::parse(nested(limit + 1, "{\"a\":", "}")).has_value());
  EXPECT_FALSE(JsonText::parse(nested(10'000'000, "[", "")).has_value());
  // Brackets within texts, behind escaped quotation marks too, and beside each other don't nest.
  EXPECT_TRUE(JsonText::parse("[\"\\\"" + std::string(limit * 2, '[') + "\\\\\"]").has_value());
  std::string wide = "[[]";
  for (std::size_t index = 0; index < limit * 2; ++index) wide += ",[]";
  EXPECT_TRUE(JsonText::parse(wide + "]").has_value());
}

TEST(JsonText, writesAnythingAndKeepsItsOrder) {
  EXPECT_EQ(JsonText::write(Json{{"b", "x\xFFy\n"}, {"a", 5}}), "{\"a\":5,\"b\":\"x\xEF\xBF\xBDy\\n\"}");
  OrderedJson ordered;
  ordered["b"] = 1;
  ordered["a"] = "é/";
  EXPECT_EQ(JsonText::write(ordered), "{\"b\":1,\"a\":\"é/\"}");
  EXPECT_EQ(JsonText::writePretty(Json{{"a", {1}}}), "{\n  \"a\": [\n    1\n  ]\n}");
}

}  // namespace
