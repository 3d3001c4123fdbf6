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
  const std::string every = "every= must be minutes > 0", at = "at= must be HH:MM",
                    hours = "hours= must be a comma list of 0-23",
                    work = "missing required argument: work: prompt= | command= | tool=";
  const std::pair<const char*, std::string> cases[] = {
      {"every=15;at=8:00;prompt=P", "every 15m: agent P claude sonnet - window"},
      {"every=;everyMinutes=5;prompt=P", every},
      {"everyMinutes=5;command=c;notifyOnFail=YES", "every 5m: script c !"},
      {"every=0", every},
      {"every=-5", every},
      {"every=abc", every},
      {"every=1.5", every},
      {"at=24:00", at},
      {"at=8", at},
      {"at=8:60", at},
      {"at=8:00:00", at},
      {"at=8::30;command=c", "daily 8:30: script c"},
      {"at=8:5;command=c", "daily 8:05: script c"},
      {"hours=9,24", hours},
      {"hours=9, 13,x;command=c;notifyOnFail=on", "at 9,13h: script c"},
      {"prompt=P", "missing required argument: schedule: every= | at= | hours="},
      {"every=1", work},
      {"every=x;client=nobody;prompt=P", every},
      {"every=1;client=nobody;prompt=P", "client must be one of claude, codex, agy, grok"},
      {"every=1;client=nobody;command=c", "every 1m: script c"},
      {"every=1;prompt=P;command=c;tool=t;args=a=b c=d", "every 1m: tool t (a=b c=d)"},
      {"every=1;prompt=P;background=Yes;screen=1;effort=max;model=m;client=grok;cwd=~/d;disabled=1",
       "every 1m: agent P grok m max bg 1 in ~/d, paused"},
      {"every=1;prompt=P;background=maybe;screen=x;disabled=no", "every 1m: agent P claude sonnet - window"},
  };
  for (const auto& [args, expected] : cases) EXPECT_EQ(drafted(args), expected) << args;
}

TEST(AutomationDraftFromArguments, keepsWhatAnEditDoesNotSpeakOf) {
  const std::tuple<const char*, Automation, std::string> cases[] = {
      {"", agent, "daily 8:05: agent P codex opus high bg 2 in /c"},
      {"cwd=/n;screen=", agent, "daily 8:05: agent P codex opus high bg 2 in /n"},
      {"background=0;every=60", agent, "every 1h: agent P codex opus high window 2 in /c"},
      {"command=ls", agent, "'x' is an agent automation - rm + add to change its kind"},
      {"tool=", agent, "'x' is an agent automation - rm + add to change its kind"},
      {"at=x;command=ls", agent, "at= must be HH:MM"},
      {"", script, "every 6h: script ls !"},  // the prompt of its past is none of its work
      {"notifyOnFail=false", script, "every 6h: script ls"},
      {"tool=mail.search;args=a=b", script, "every 6h: tool mail.search (a=b) !"},
      {"prompt=x", script, "'x' is a script automation - rm + add to change its kind"},
      {"cwd=", tool, "every 6h: script '/b/tavro' run mail.search in "},
      {"prompt=x", tool, "'x' is a tool automation - rm + add to change its kind"},
  };
  for (const auto& [args, existing, expected] : cases) EXPECT_EQ(drafted(args, existing), expected) << args;
}

class AutomationToolsTest : public LoopHome {
 protected:
  void ended(const std::string& name, int code) const {
    write(home / ".runtime/state" / (name + ".json"),
          R"({"lastRun":"2026-03-14T09:26:53Z","lastExit":)" + std::to_string(code) + "}");
  }
};

TEST_F(AutomationToolsTest, listEachAutomationInALine) {
  EXPECT_EQ(callTool("auto.list"), "(no automations - auto.add to create one)");
  const std::string tellsAll(100, 'e');
  EXPECT_EQ(callTool("auto.add", {{"name", "a"}, {"every", "90"}, {"prompt", "two\nlines " + tellsAll}}),
            "✅ automation 'a' created - every 90m");
  callTool("auto.add", "name=b;at=9:5;prompt=x;background=1");
  callTool("auto.add", "name=c d;hours=9,13;command=echo run now");
  callTool("auto.add", "name=e;every=1440;command=true;disabled=1");
  VendryEngine::ensureSystemLoop("f", "ask.harvest", 15);
  ended("b", 143);
  ended("c d", 3);
  const RunLock runs{LoopFiles("e")};
  EXPECT_EQ(callTool("auto.list"),
            "a   [agent/window] every 90m  never ran  - two lines " + tellsAll.substr(0, 70) +
                "\n"
                "b   [agent/bg] daily 9:05  ok @ 2026-03-14T09:26:53Z  - x\n"
                "c d   [script] at 9,13h  FAILED(exit 3) @ 2026-03-14T09:26:53Z  - echo run now\n"
                "e ✗ [script] daily  running  - true\n"
                "f [sys]   [tool] every 15m  never ran  - ask.harvest");
  EXPECT_EQ(previewOf("auto.rm", "name=a"), "agent automation, every 90m - two lines " + tellsAll.substr(0, 50));
  EXPECT_EQ(previewOf("auto.rm", "name=nobody") + previewOf("auto.rm", ""), "(none)(none)");
}

TEST_F(AutomationToolsTest, changeAndRemoveByName) {
  callTool("auto.add", "name=a;every=5;command=ls");
  EXPECT_EQ(callTool("auto.add", "name=a;every=5;command=ls"), "automation 'a' already exists (use edit)");
  EXPECT_EQ(callTool("auto.edit", "name=a;command=pwd"), "✅ automation 'a' updated");
  EXPECT_EQ(callTool("auto.disable", "name=a"), "✅ 'a' disabled");
  EXPECT_EQ(VendryEngine::find("a")->command, "pwd");
  EXPECT_FALSE(VendryEngine::find("a")->enabled);
  EXPECT_EQ(callTool("auto.enable", "name=a"), "✅ 'a' enabled");
  EXPECT_TRUE(VendryEngine::find("a")->enabled);
  EXPECT_EQ(callTool("auto.rm", "name=a"), "🗑 'a' removed");
  EXPECT_EQ(callTool("auto.rm", "name=.."), "no such automation: ..");
  for (const char* id : {"auto.log", "auto.edit", "auto.enable", "auto.disable", "auto.run"}) {
    EXPECT_EQ(callTool(id, "name=../a"), "no automation named '../a' (see auto.list)") << id;
    EXPECT_EQ(callTool(id, "name="), "missing required argument: name") << id;
  }
}

TEST_F(AutomationToolsTest, showTheEndOfALog) {
  callTool("auto.add", "name=a;every=5;command=ls");
  EXPECT_EQ(callTool("auto.log", "name=a"), "(no log yet for 'a')");
  std::string text;
  for (int line = 1; line <= 100; ++line) text += std::to_string(line) + "\n";
  write(VendryEngine::logURL("a"), text);
  EXPECT_EQ(callTool("auto.log", "name=a;lines=3"), "99\n100\n");
  EXPECT_EQ(callTool("auto.log", "name=a;lines=x"), text.substr(text.find("22\n")));
  EXPECT_EQ(callTool("auto.log", "name=a;lines=-1"), "");
}

}  // namespace
