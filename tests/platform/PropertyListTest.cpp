// Guards the lists that launchd's jobs are written in, against a plain text of the format.
#include <gtest/gtest.h>

#include "Platform/Error.h"
#include "Platform/Json.h"
#include "Platform/PropertyList.h"

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

TEST(PropertyList, whatIsNoListIsNothing) {
  for (const char* text : {"", "{}", "<plist>", "<plist version=\"1.0\"><dict><key>a</key></plist>", "bplist00"})
    EXPECT_FALSE(PropertyList::parse(text).value_or(nullptr).is_object()) << text;
  std::string deep = "<plist version=\"1.0\">";
  for (int i = 0; i < 5000; ++i) deep += "<array>";
  for (int i = 0; i < 5000; ++i) deep += "</array>";
  EXPECT_EQ(PropertyList::parse(deep + "</plist>"), std::nullopt);
}

}  // namespace
