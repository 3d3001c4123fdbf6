// Guards what the owner is told of permissions, what setup asks for and keeps, and that a refusal is real. Setup runs
// the desktop's own `open`; the clock that it waits by is the real one.
#include <chrono>

#include "Platform/Json.h"
#include "Platform/Process.h"
#include "Platform/Program.h"
#include "Platform/linux/stores/RunningApplications.h"
#include "TavroCore/personal/PermissionBootstrap.h"
#include "tests/personal/PersonalDesk.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr const char* notSetUp = "not set up yet - run Set up access";
constexpr const char* deniedAtSetup = "denied - allow in System Settings → Privacy & Security → Automation";
constexpr const char* allowedAtSetup = "allowed (granted at setup; app closed)";

class PermissionsTest : public PersonalDesk {
 protected:
  ~PermissionsTest() override { ::unsetenv("TAVRO_PLATFORM_BIN"); }

  void permit(const std::string& permissions) const { put("permissions.json", permissions); }
  void remember(const std::string& grants) const { put("../tavro/autonomy-grants.json", grants); }
  std::string remembered() const { return get("../tavro/autonomy-grants.json"); }

  static void run(const std::vector<std::string>& names) {
    for (const auto& name : names) RunningApplications::add(name);
  }

  /// The detail of one, with its mark: "✅ allowed".
  static std::string of(const std::vector<PermissionBootstrap::ScopeResult>& results, const std::string& label) {
    for (const auto& result : results)
      if (result.label == label)
        return std::string(!result.granted ? "❓ " : *result.granted ? "✅ " : "⛔ ") + result.detail;
    return "(no such scope)";
  }

  /// What a script says, or its error.
  static std::string script(const std::string& text) {
    const auto result = Process::run({.program = Platform::program("osascript"), .arguments = {"-e", text}});
    return result.output + result.errors;
  }
};

TEST_F(PermissionsTest, statusTellsWhatIsUnknownAsksNothingAndStartsNothing) {
  const std::string undecided = R"({"access": "not determined", "consent": "give"})";
  permit(R"({"automation": {"System Events": )" + undecided + R"(}, "events": )" + undecided + "}");
  EXPECT_EQ(PermissionBootstrap::renderText(PermissionBootstrap::status()),
            "❓ Mail (control)         not set up yet - run Set up access\n"
            "❓ Calendar (control)     not set up yet - run Set up access\n"
            "❓ Reminders (control)    not set up yet - run Set up access\n"
            "❓ Contacts (control)     not set up yet - run Set up access\n"
            "❓ Notes (control)        not set up yet - run Set up access\n"
            "❓ Messages (control)     not set up yet - run Set up access\n"
            "❓ Finder (control)       not set up yet - run Set up access\n"
            "❓ System Events (control not yet granted\n"
            "❓ Calendar (events)      not yet granted\n"
            "✅ Reminders              allowed");
  EXPECT_THAT(get("permissions.json"), testing::Not(HasSubstr("full access")));
  EXPECT_THAT(RunningApplications::names(), IsEmpty());
  EXPECT_FALSE(Files::exists(home));
}

TEST_F(PermissionsTest, setupAsksKeepsTheAnswersAndQuitsWhatItStarted) {
  run({"Calendar"});
  const auto before = get("running.json");
  permit(R"({"automation": {"Mail": {"access": "denied"}, "Finder": {"access": "not determined"},
             "Notes": {"access": "not determined", "consent": "give", "mine": 1},
             "Messages": {"access": "not determined", "consent": "refuse"}}, "mine": [2]})");
  remember(R"({"automation:com.apple.finder": true, "automation:com.apple.mail": true, "other": false})");
  const auto probed = PermissionBootstrap::probe();
  EXPECT_EQ(of(probed, "Mail (control)"), std::string("⛔ ") + deniedAtSetup);
  EXPECT_EQ(of(probed, "Notes (control)"), "✅ allowed");
  EXPECT_EQ(of(probed, "Messages (control)"), std::string("⛔ ") + deniedAtSetup);
  EXPECT_EQ(of(probed, "Finder (control)"), "❓ not yet granted");
  EXPECT_EQ(get("running.json"), before);
  EXPECT_EQ(*JsonText::parse(get("permissions.json")), *JsonText::parse(R"({"automation": {
      "Mail": {"access": "denied"}, "Finder": {"access": "not determined"},
      "Notes": {"access": "full access", "consent": "give", "mine": 1},
      "Messages": {"access": "denied", "consent": "refuse"}}, "mine": [2]})"));
  EXPECT_EQ(*JsonText::parse(remembered()), *JsonText::parse(R"({"other": false, "calendar": true, "reminders": true,
      "automation:com.apple.mail": false, "automation:com.apple.iCal": true, "automation:com.apple.reminders": true,
      "automation:com.apple.AddressBook": true, "automation:com.apple.Notes": true,
      "automation:com.apple.MobileSMS": false, "automation:com.apple.finder": true,
      "automation:com.apple.systemevents": true})"));

  // What is closed is told from the cache, what runs from life.
  permit(R"({"automation": {"Notes": {"access": "denied"}, "Calendar": {"access": "denied"}}})");
  const auto later = PermissionBootstrap::status();
  EXPECT_EQ(of(later, "Notes (control)"), std::string("✅ ") + allowedAtSetup);
  EXPECT_EQ(of(later, "Mail (control)"), std::string("⛔ ") + deniedAtSetup);
  EXPECT_EQ(of(later, "Calendar (control)"), std::string("⛔ ") + deniedAtSetup);
}

TEST_F(PermissionsTest, nativeStoresAreToldByTheirState) {
  const std::vector<std::array<const char*, 3>> states = {
      {"not determined", "❓ not yet granted", "❓ not yet granted"},
      {"restricted", "⛔ restricted by system policy", "⛔ restricted by system policy"},
      {"denied", "⛔ denied - allow in System Settings → Privacy & Security",
       "⛔ denied - allow in System Settings → Privacy & Security"},
      {"full access", "✅ allowed", "✅ allowed"},
      {"write only", "⛔ write-only - set Full Access in System Settings → Privacy & Security → Calendars",
       "⛔ write-only - set Full Access in System Settings → Privacy & Security → Calendars"}};
  for (const auto& [state, events, reminders] : states) {
    permit(std::string(R"({"events": {"access": ")") + state + R"("}, "reminders": {"access": ")" + state + "\"}}");
    EXPECT_EQ(of(PermissionBootstrap::status(), "Calendar (events)"), events);
    EXPECT_EQ(of(PermissionBootstrap::status(), "Reminders"), reminders);
  }
  for (const auto& [state, events, reminders] : {states[0], states[4]}) {
    const std::string entry = std::string(R"({"access": ")") + state + R"(", "consent": "give"})";
    permit(R"({"events": )" + entry + R"(, "reminders": )" + entry + "}");
    const auto probed = PermissionBootstrap::probe();
    EXPECT_EQ(of(probed, "Calendar (events)"), "✅ allowed") << state;
    const bool wasAsked = state == states[0][0];
    EXPECT_EQ(of(probed, "Reminders"), wasAsked ? "✅ allowed" : reminders) << state;
  }
}

// A stand-in that writes down how it was called and then hangs.
TEST_F(PermissionsTest, anApplicationThatDoesNotStartCostsSixSeconds) {
  run({"Mail", "Calendar", "Reminders", "Contacts", "Messages", "Finder"});
  put("../bin/open", "#!/bin/sh\necho \"$@\" > " + (directory / "call").string() + "\nexec sleep 20\n");
  Files::setMode(directory / "bin/open", 0700);
  ::setenv("TAVRO_PLATFORM_BIN", (directory / "bin").c_str(), 1);
  remember(R"({"automation:com.apple.Notes": true})");
  const auto start = std::chrono::steady_clock::now();
  const auto probed = PermissionBootstrap::probe();
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
  EXPECT_EQ(get("../call"), "-g -j -b com.apple.Notes\n");
  EXPECT_GE(took.count(), 6);
  EXPECT_LT(took.count(), 9);
  EXPECT_EQ(of(probed, "Notes (control)"), std::string("❓ ") + notSetUp);
  EXPECT_THAT(remembered(), HasSubstr(R"("automation:com.apple.Notes":true)"));
  EXPECT_THAT(RunningApplications::names(),
              ElementsAre("Calendar", "Contacts", "Finder", "Mail", "Messages", "Reminders"));
}

TEST_F(PermissionsTest, bearsFilesOfAnyBytes) {
  std::string noise(1'000'000, '\0');
  for (std::size_t i = 0; i < noise.size(); ++i) noise[i] = static_cast<char>(i * i >> 3);
  for (const auto& text : {noise, std::string(1'000'000, '['), std::string("[]"), std::string("{\"automation\":"),
                           std::string(R"({"automation": ["Mail"], "events": 3, "automation:com.apple.Notes": "yes"})"),
                           std::string(R"({"automation": {"Mail": "full access"}, "events": {"access": null}})"),
                           std::string(R"({"automation": {"Mail": {"access": "write only"}}, "events": {}})")}) {
    permit(text);
    remember(text);
    run({"Mail"});
    const auto results = PermissionBootstrap::status();
    ASSERT_EQ(results.size(), 10U);
    EXPECT_EQ(of(results, "Mail (control)"), std::string("⛔ ") + deniedAtSetup) << text.substr(0, 80);
    EXPECT_EQ(of(results, "Notes (control)"), std::string("❓ ") + notSetUp) << text.substr(0, 80);
    EXPECT_THAT(of(results, "Calendar (events)"), testing::StartsWith("⛔ denied")) << text.substr(0, 80);
  }
}

TEST_F(PermissionsTest, aScriptControlsOnlyWhatTheOwnerLetsItControl) {
  permit(R"({"automation": {"Notes": {"access": "denied"}, "Finder": {"access": "denied"},
             "Mail": {"access": "not determined"}, "System Events": {"access": "denied"},
             "Contacts": {"access": "not determined", "consent": "give"}}})");
  const auto refusal = [](const std::string& name) {
    return HasSubstr("Not authorized to send Apple events to " + name + ". (-1743)");
  };
  EXPECT_THAT(callTool("note.list"), refusal("Notes"));
  EXPECT_THAT(script("tell application \"Notes\" to get name of notes"), refusal("Notes"));
  EXPECT_THAT(script("tell application \"Notes\" to make new note"), refusal("Notes"));
  EXPECT_THAT(script("tell application \"Finder\" to get name of file \"/etc/passwd\""), refusal("Finder"));
  EXPECT_THAT(script("tell application \"System Events\" to get name of processes"), refusal("System Events"));
  EXPECT_THAT(script("tell application \"Mail\" to get name of accounts"),
              testing::AllOf(HasSubstr("Mail got an error: "), HasSubstr("consent"), HasSubstr("(-1744)")));
  EXPECT_THAT(RunningApplications::names(), IsEmpty()) << "a script that is refused starts nothing";
  EXPECT_EQ(script("tell application \"Contacts\" to count people"), "0\n");
  EXPECT_THAT(get("permissions.json"), HasSubstr(R"("access": "full access")"));

  EXPECT_EQ(script("tell application \"Notes\"\nactivate\nget {name, running}\nend tell"), "Notes, true\n");
  EXPECT_EQ(script("tell application \"Notes\" to quit\napplication \"Notes\" is running"), "false\n");
}

TEST_F(PermissionsTest, rendersUnknownScopesWithoutAnAnswerAndLabelsByCharacters) {
  const std::vector<PermissionBootstrap::ScopeResult> results = {{"a", "e\u0301👩‍👩‍👧 é", {}, "x → \"y\""},
                                                                 {"b", std::string(30, 'b'), true, ""}};
  EXPECT_EQ(PermissionBootstrap::renderText(results),
            "❓ e\u0301👩‍👩‍👧 é" + std::string(18, ' ') + " x → \"y\"\n✅ " + std::string(22, 'b') + " ");
  EXPECT_EQ(PermissionBootstrap::renderJSON(results),
            "[{\"id\":\"a\",\"label\":\"e\u0301👩‍👩‍👧 é\",\"detail\":\"x → \\\"y\\\"\"},"
            "{\"id\":\"b\",\"label\":\"bbbbbbbbbbbbbbbbbbbbbbbbbbbbbb\",\"granted\":true,\"detail\":\"\"}]");
  EXPECT_EQ(PermissionBootstrap::renderText({}) + PermissionBootstrap::renderJSON({}), "[]");
}

}  // namespace
