// The eight tools by the road that an agent's call takes: what arguments make of an automation, which of them are
// refused and in what order, and what the tools say.
#include "TavroCore/automations/AutomationTools.h"
#include "TavroCore/automations/RunLock.h"
#include "tests/automations/LoopHome.h"
#include "tests/support/ToolCall.h"

namespace {

const Automation agent{.name = "x",
                       .kind = Automation::Kind::agent,
                       .prompt = "P",
                       .model = "opus",
                       .client = "codex",
                       .effort = "high",
                       .cwd = "/c",
                       .schedule = {Schedule::Calendar{8, 5}},
                       .visible = false,
                       .screen = 2,
                       .enabled = false};
const Automation script{
    .name = "x", .kind = Automation::Kind::script, .prompt = "old", .command = "ls", .notifyOnFail = true};
const Automation tool{.name = "x", .kind = Automation::Kind::tool, .command = "'/b/tavro' run mail.search"};

struct Described {
  std::string operator()(const AutomationDraft::Agent& work) const {
    return "agent " + work.prompt + " " + work.client + " " + work.model + " " + work.effort.value_or("-") +
           (work.visible ? " window" : " bg") + (work.screen ? " " + std::to_string(*work.screen) : "");
  }
  std::string operator()(const AutomationDraft::Script& work) const {
    return "script " + work.command + (work.notifyOnFail ? " !" : "");
  }
  std::string operator()(const AutomationDraft::Tool& work) const {
    return "tool " + work.tool + " (" + work.args + ")" + (work.notifyOnFail ? " !" : "");
  }
};

/// The draft in a line, or why there is none.
std::string drafted(const std::string& args, const std::optional<Automation>& existing = std::nullopt) {
  return refusal([&] {
    const auto draft = AutomationTools::draftFrom(arguments(args), "x", existing);
    throw Error(draft.schedule.display() + ": " + std::visit(Described(), draft.work) +
                (draft.cwd ? " in " + *draft.cwd : "") + (draft.enabled ? "" : ", paused"));
  });
}

TEST(AutomationDraftFromArguments, takesWhatMakesOneAndRefusesTheFirstFault) {
  const std::string most = "every=1;prompt=P;background=Yes;screen=1;effort=max;model=m;client=grok;cwd=~/d;disabled=1";
  const std::vector<std::pair<std::string, std::vector<std::string>>> cases = {
      {"every= must be minutes > 0",
       {"every=;everyMinutes=5;prompt=P", "every=0", "every=-5", "every=1.5", "every=x;client=nobody;prompt=P"}},
      {"at= must be HH:MM", {"at=24:00", "at=8", "at=8:60", "at=8:00:00"}},
      {"hours= must be a comma list of 0-23", {"hours=9,24", "hours=", "hours=x", "hours=,", "hours=-1"}},
      {"missing required argument: schedule: every= | at= | hours=", {"prompt=P"}},
      {"missing required argument: work: prompt= | command= | tool=", {"every=1"}},
      {"client must be one of claude, codex, agy, grok", {"every=1;client=nobody;prompt=P"}},
      {"every 15m: agent P claude sonnet - window",
       {"every=15;at=8:00;prompt=P;background=maybe;screen=x;disabled=no"}},
      {"every 5m: script c !", {"everyMinutes=5;command=c;notifyOnFail=YES"}},
      {"daily 8:30: script c", {"at=8::30;command=c;client=nobody"}},
      {"daily 8:05: script c", {"at=8:5;command=c"}},
      {"at 9,13h: script c", {"hours=9, 13,x;command=c;notifyOnFail=on"}},
      {"at 23,0,0h: script c", {"hours=\t+23 ,,0,0,99999999999999999999;command=c"}},
      {"every 1m: tool t (a=b c=d)", {"every=1;prompt=P;command=c;tool=t;args=a=b c=d"}},
      {"every 1m: agent P grok m max bg 1 in ~/d, paused", {most}}};
  for (const auto& [expected, texts] : cases) {
    for (const auto& args : texts) EXPECT_EQ(drafted(args), expected) << args;
  }
}

TEST(AutomationDraftFromArguments, keepsWhatAnEditDoesNotSpeakOf) {
  const std::tuple<const char*, Automation, std::string> cases[] = {
      {"", agent, "daily 8:05: agent P codex opus high bg 2 in /c"},
      {"cwd=/n;screen=;background=0;every=60", agent, "every 1h: agent P codex opus high window 2 in /n"},
      {"command=ls", agent, "'x' is an agent automation - rm + add to change its kind"},
      {"tool=", agent, "'x' is an agent automation - rm + add to change its kind"},
      {"at=x;command=ls", agent, "at= must be HH:MM"},
      {"", script, "every 6h: script ls !"},  // the prompt of its past is none of its work
      {"tool=mail.search;args=a=b;notifyOnFail=false", script, "every 6h: tool mail.search (a=b)"},
      {"prompt=x", script, "'x' is a script automation - rm + add to change its kind"},
      {"cwd=", tool, "every 6h: script '/b/tavro' run mail.search in "},
      {"prompt=x", tool, "'x' is a tool automation - rm + add to change its kind"}};
  for (const auto& [args, existing, expected] : cases) EXPECT_EQ(drafted(args, existing), expected) << args;
}

using AutomationToolsTest = LoopHome;

TEST_F(AutomationToolsTest, listEachAutomationInALine) {
  EXPECT_EQ(callTool("auto.list"), "(no automations - auto.add to create one)");
  const std::string tellsAll(100, 'e');
  EXPECT_EQ(callTool("auto.add", "name=a;every=90;prompt=two\nlines " + tellsAll),
            "✅ automation 'a' created - every 90m");
  callTool("auto.add", "name=b;at=9:5;prompt=x;background=1");
  callTool("auto.add", "name=c d;hours=9,13;command=echo run now");
  callTool("auto.add", "name=e;every=1440;command=true;disabled=1");
  VendryEngine::ensureSystemLoop("f", "ask.harvest", 15);
  for (const auto& [name, exit] : {std::pair("b", "143"), {"c d", "3"}})
    write(LoopFiles(name).state, std::string(R"({"lastRun":"2026-03-14T09:26:53Z","lastExit":)") + exit + "}");
  const RunLock runs{LoopFiles("e")};
  EXPECT_EQ(callTool("auto.list"),
            "a   [agent/window] every 90m  never ran  - two lines " + tellsAll.substr(0, 70) + R"(
b   [agent/bg] daily 9:05  ok @ 2026-03-14T09:26:53Z  - x
c d   [script] at 9,13h  FAILED(exit 3) @ 2026-03-14T09:26:53Z  - echo run now
e ✗ [script] daily  running  - true
f [sys]   [tool] every 15m  never ran  - ask.harvest)");
  EXPECT_EQ(previewOf("auto.rm", "name=a"), "agent automation, every 90m - two lines " + tellsAll.substr(0, 50));
  EXPECT_EQ(previewOf("auto.rm", "name=nobody") + previewOf("auto.rm", ""), "(none)(none)");
}

TEST_F(AutomationToolsTest, changeAndShowTheOneOfThatName) {
  callTool("auto.add", "name=a;every=5;command=ls");
  EXPECT_EQ(callTool("auto.add", "name=a;every=5;command=ls"), "automation 'a' already exists (use edit)");
  EXPECT_EQ(callTool("auto.disable", "name=a"), "✅ 'a' disabled");
  EXPECT_EQ(callTool("auto.edit", "name=a;command=pwd"), "✅ automation 'a' updated");
  EXPECT_EQ(VendryEngine::find("a")->command, "pwd");
  EXPECT_FALSE(VendryEngine::find("a")->enabled);
  EXPECT_EQ(callTool("auto.log", "name=a"), "(no log yet for 'a')");
  const std::string end(79, '\n');
  write(VendryEngine::logURL("a"), "99\n100" + end);
  EXPECT_EQ(callTool("auto.log", "name=a;lines=x"), "100" + end);
  EXPECT_EQ(callTool("auto.log", "name=a;lines=-1"), "");
  EXPECT_EQ(callTool("auto.rm", "name=.."), "no such automation: ..");
  for (const char* id : {"auto.log", "auto.edit", "auto.enable", "auto.disable", "auto.run"}) {
    EXPECT_EQ(callTool(id, "name=../a"), "no automation named '../a' (see auto.list)") << id;
    EXPECT_EQ(callTool(id, "name="), "missing required argument: name") << id;
  }
}

}  // namespace
