// The settings: a bad field costs itself and nothing else, whatever bytes the file holds.
#include "Platform/Json.h"
#include "TavroCore/harness/ConfigDir.h"
#include "TavroCore/harness/HarnessConfig.h"
#include "tests/harness/Home.h"

namespace {

const HarnessConfig full = {.autonomyMode = AutonomyMode::panic,
                            .imapAccounts = {{"Work", "a@example.org", "imap.example.org", 993}},
                            .dailyMutationCap = 7,
                            .vendryHome = "/v",
                            .terminalApp = "iTerm",
                            .notifyEmail = "a@example.org",
                            .notifyIMessageHandle = "+1",
                            .askChannel = "imessage",
                            .askCleanup = "delete"};

HarnessConfig decode(std::string_view text) { return HarnessConfig::decode(JsonText::parse(text).value()); }

class HarnessConfigTest : public HomeTest {
 protected:
  const std::filesystem::path file = home / "config.json";
};

TEST(HarnessConfig, replacesABadFieldByItsDefaultAndKeepsTheOthers) {
  const std::vector<std::string> noText = {"1", "true", "null", "[]", "{}"};
  const std::map<std::string, std::vector<std::string>> bad = {
      {"autonomyMode", {R"("turbo")", R"("YOLO")", "1", "null", "{}"}},
      {"imapAccounts",
       {"{}", R"("x")", "null", "[1]", R"([{"email":"a"}])",
        R"([{"mailAccountName":"a","email":"b","host":"c","port":993},{"email":"a"}])",
        R"([{"mailAccountName":"a","email":"b","host":"c","port":"993"}])"}},
      {"dailyMutationCap", {R"("5")", "true", "null", "2.5", "1e19", "9223372036854775808", "-1e19", "[]"}},
      {"vendryHome", noText},
      {"terminalApp", noText},
      {"notifyEmail", noText},
      {"notifyIMessageHandle", noText},
      {"askChannel", noText},
      {"askCleanup", noText},
  };
  const OrderedJson defaults = HarnessConfig().encode();
  ASSERT_EQ(bad.size(), full.encode().size());
  for (const auto& [key, values] : bad) {
    for (const auto& value : values) {
      Json json = Json::parse(full.encode().dump());
      json[key] = Json::parse(value);
      OrderedJson expected = full.encode();
      expected.erase(key);
      OrderedJson decoded = HarnessConfig::decode(json).encode();
      EXPECT_EQ(decoded.value(key, OrderedJson()), defaults.value(key, OrderedJson())) << key << " = " << value;
      decoded.erase(key);
      EXPECT_EQ(decoded, expected) << key << " = " << value;
    }
  }
}

TEST(HarnessConfig, readsTheOldBooleanOnlyWhereNoModeIsKnown) {
  const std::vector<std::pair<const char*, AutonomyMode>> cases = {
      {"{}", AutonomyMode::copilote},
      {R"({"yoloMode":true})", AutonomyMode::yolo},
      {R"({"yoloMode":false})", AutonomyMode::copilote},
      {R"({"yoloMode":1})", AutonomyMode::copilote},
      {R"({"autonomyMode":"turbo","yoloMode":true})", AutonomyMode::yolo},
      {R"({"autonomyMode":"panic","yoloMode":true})", AutonomyMode::panic},
  };
  for (const auto& [text, mode] : cases) EXPECT_EQ(decode(text).autonomyMode, mode) << text;
  EXPECT_EQ(decode(R"({"dailyMutationCap":5.0})").dailyMutationCap, 5);
  EXPECT_EQ(decode("[]"), HarnessConfig());
}

TEST_F(HarnessConfigTest, comesBackAsItWasSavedAndBearsACutAtEveryByte) {
  EXPECT_EQ(HarnessConfig::load(), HarnessConfig());
  full.save();
  EXPECT_EQ(HarnessConfig::load(), full);
  HarnessConfig().save();
  EXPECT_EQ(read(file), R"({"autonomyMode":"copilote","imapAccounts":[],"dailyMutationCap":100,"notifyEmail":"",)"
                        R"("askChannel":"mail","askCleanup":"archive"})");
  full.save();
  const std::string text = read(file);
  for (std::size_t length = 0; length < text.size(); ++length) {
    write(file, text.substr(0, length));
    ASSERT_EQ(HarnessConfig::load(), HarnessConfig()) << "cut at " << length;
  }
  write(file, "{\"notifyEmail\":\"\xff\"}");
  EXPECT_EQ(HarnessConfig::load(), HarnessConfig());
  write(file, std::string(100'000, '['));
  EXPECT_EQ(HarnessConfig::load(), HarnessConfig());
}

TEST(HarnessConfig, letsAnAgentLowerTheModeAndNeverRaiseIt) {
  using enum AutonomyMode;
  for (const auto from : AutonomyModes::allCases) {
    for (const auto to : AutonomyModes::allCases) {
      HarnessConfig config{.autonomyMode = from};
      const bool applied = config.requestAutonomyFromAgent(to) == HarnessConfig::AutonomyChange::applied;
      EXPECT_EQ(applied, to <= from);
      EXPECT_EQ(config.autonomyMode, applied ? to : from);
    }
  }
}

}  // namespace
