// Guards the lists that launchd's jobs are written in, against a plain text of the format.
#include <gtest/gtest.h>

#include "Platform/Error.h"
#include "Platform/Json.h"
#include "Platform/PropertyList.h"
#include "Platform/Text.h"

namespace {

TEST(PropertyList, writesWhatAMacReadsAndReadsItBack) {
  const Json job = {{"Label", "a & <b> ü"},
                    {"ProgramArguments", {"/x y/tavro", "auto-run"}},
                    {"RunAtLoad", false},
                    {"StartCalendarInterval", {{{"Hour", 9}, {"Minute", -1}}}},
                    {"Empty", Json::array()}};
  const std::string text = PropertyList::xml(job);
  EXPECT_NE(text.find("<plist version=\"1.0\">\n<dict>\n\t<key>Empty</key>\n\t<array/>\n"), text.npos) << text;
  EXPECT_NE(text.find("<string>a &amp; &lt;b&gt; ü</string>"), text.npos) << text;
  EXPECT_NE(text.find("<key>RunAtLoad</key>\n\t<false/>"), text.npos) << text;
  EXPECT_EQ(PropertyList::parse(text), job);
  EXPECT_THROW(PropertyList::xml(Json{{"null", nullptr}}), Error);
}

TEST(PropertyList, whatIsNoListOrBeyondTheLimitsIsNothing) {
  using namespace std::string_literals;
  const auto times = [](std::size_t count, const std::string& text) {
    return Text::replaceAll(std::string(count, 'x'), "x", text);
  };
  const auto list = [](const std::string& content) { return "<plist version=\"1.0\">" + content + "</plist>"; };
  const auto nested = [&](std::size_t depth) { return list(times(depth, "<array>") + times(depth, "</array>")); };
  const auto binary = "bplist00\x09\x08"s + std::string(6, '\0') + "\1\1" + std::string(7, '\0') + "\1" +
                      std::string(15, '\0') + "\x09";  // it says "true"
  const auto arrays = [&](std::size_t count) { return list("<array>" + times(count, "<array/>") + "</array>"); };
  for (const auto& text : {""s, "{}"s, "<plist>"s, list("<dict><key>a</key>"), binary, nested(600), arrays(5000),
                           list("<string>" + times(1000000, "a") + "</string>")})
    EXPECT_EQ(PropertyList::parse(text), std::nullopt) << text.substr(0, 60);
  EXPECT_TRUE(PropertyList::parse(nested(500)));
  EXPECT_TRUE(PropertyList::parse(arrays(4000)));
}

}  // namespace
