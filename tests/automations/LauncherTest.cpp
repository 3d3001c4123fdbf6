// Guards how agents are started and watched: in tmux, in a window, as a child. Sessions are real; the clients are
// scripts of the tests, and the window's application a stand-in that writes down what it is asked.
#include "TavroCore/automations/ClientCommand.h"
#include "TavroCore/automations/DoneMarker.h"
#include "TavroCore/automations/InnerScript.h"
#include "TavroCore/automations/TmuxSession.h"
#include "tests/automations/Runs.h"

namespace {

using testing::HasSubstr;
using LauncherTest = Runs;

TEST_F(LauncherTest, startsEachClientInItsOwnWay) {
  const std::vector<std::tuple<const char*, const char*, const char*>> commands = {
      {"claude", "opus", "claude --model opus --permission-mode auto --effort high"},
      {"new", "claude-haiku-4", "claude --model claude-haiku-4 --dangerously-skip-permissions --effort high"},
      {"codex", "gpt-5", "codex exec --dangerously-bypass-approvals-and-sandbox -C /w --model gpt-5 -"},
      {"codex", "claude-sonnet", "codex exec --dangerously-bypass-approvals-and-sandbox -C /w -"},
      {"agy", "", "agy --print --dangerously-skip-permissions --print-timeout 43200s"},
      {"grok", "g", "grok @@VENDRY_PROMPT@@ --no-alt-screen --always-approve --cwd /w --model g"}};
  for (const auto& [client, model, words] : commands) {
    const LoopRun run("x", {{"client", client}, {"model", model}, {"cwd", "/w"}, {"effort", "high"}});
    EXPECT_EQ(Text::join(ClientCommand::of(run, ClientCommand::Place::child), " "), words);
  }
}

TEST_F(LauncherTest, runsNoShellTextOfARecordOrAPath) {
  const std::string evil = "'\"; touch ~/pwned; $(touch ~/pwned) `touch ~/pwned` \\\n!*";
  setenv("TAVRO_HOME", (scratch_ / evil).c_str(), 1);
  VendryEngine::ensureLayout();
  const std::string cwd = scratch_ / (evil + "cwd");
  Files::createDirectories(cwd);
  const std::string record = "printf '%s\\0' \"$(pwd)\" \"$@\" \"$VENDRY_DONE\" \"$(cat)\" > ~/got; exit 9";
  for (const std::string client : {"claude", "grok"}) standIn(client, record);
  for (const std::string client : {"claude", "grok", "x\"; touch ~/pwned; $(touch ~/pwned)"}) {
    const LoopRun run("news", {{"cwd", cwd}, {"model", evil}, {"effort", evil}, {"client", client}});
    Files::replace(run.files.prompt, evil + "prompt");
    InnerScript::write(run);
    EXPECT_EQ(Process::run({.program = "/bin/bash", .arguments = {run.files.innerScript}, .input = ""}).errors, "");
    auto words = ClientCommand::of(run, ClientCommand::Place::session);
    words.front() = cwd;
    if (client == "grok") words[1] = evil + "prompt";
    words.insert(words.end(), {run.files.doneMarker, client == "grok" ? "" : evil + "prompt", ""});
    EXPECT_EQ(Text::split(file("got"), '\0'), words);
    EXPECT_EQ(Files::read(run.files.doneMarker), "9");
    EXPECT_THAT(Files::read(run.files.log).value_or(""), testing::EndsWith("vendry: news done (exit 9) =====\n"));
    Files::remove(run.files.doneMarker);
  }
  EXPECT_EQ(file("pwned"), "(no file)");
}

TEST_F(LauncherTest, watchesSessionsToTheirEnd) {
  // "news" ends by itself, and closing what is gone must not close "newsletter", whose name it begins with.
  standIn("claude", R"sh(cat > ~/"prompt.$VENDRY_RUN"
case $VENDRY_RUN in
  news) exit 7 ;;
  newsletter) until [ -e ~/home/.runtime/state/news.json ]; do sleep 0.05; done; tavro auto-done; exec sleep 600 ;;
  crashing) kill -9 $$ ;;
  closed) tmux -S ~/home/.runtime/run/vendry.sock kill-session -t =closed ;;
  slow) exec sleep 600 ;;
  deaf) trap "" HUP; echo $$ > ~/deaf; tavro auto-done 5; exec sleep 600 ;;
  *) exit "$(tput cols)" ;;
esac)sh");
  const std::map<std::string, std::string> codes = {{"news", "7"},       {"newsletter", "0"}, {"crashing", "137"},
                                                    {"closed", "137"},   {"slow", "124"},     {"deaf", "5"},
                                                    {"Größe X-1", "220"}};
  std::vector<std::string> names;
  for (const auto& [name, code] : codes) {
    loop(name, {{"visible", false}, {"timeoutSeconds", name == "slow" ? 3 : 0}}, "Read " + name);
    names.push_back(name);
  }
  runAtOnce(names);
  for (const auto& [name, code] : codes) {
    EXPECT_EQ(lastExit(name), code) << log(name);
    EXPECT_FALSE(VendryEngine::hasSession(name));
    EXPECT_THAT(file("prompt." + name), testing::StartsWith("Read " + name + "\n\n\nWhen the task above is complete"));
  }
  EXPECT_FALSE(Process::isAlive(std::stoi(file("deaf")))) << "it would speak up in the next run";
  EXPECT_THAT(log("closed"), HasSubstr("[T] tmux session ended without a signal\n"));
  EXPECT_THAT(log("news"), HasSubstr(" attach -t news  (or: Tavro cockpit → Automations → Open live run)\n"));
}

TEST_F(LauncherTest, runsAChildWhereTmuxRefuses) {
  Files::createDirectories(VendryEngine::tmuxSocket());
  standIn("claude", "echo \"$#\"; head -1; exit 4");
  standIn("grok", "echo \"${1%%$'\\n'*}\"; kill -9 $$");
  loop("read", {{"visible", false}}, "the task");
  loop("told", {{"visible", false}, {"client", "grok"}}, "the task");
  loop("long", {{"visible", false}, {"client", "grok"}}, std::string(Process::longestArgument, 'x'));
  loop("huge", {{"visible", false}}, std::string((16 << 20) + 1, 'x'));
  runAtOnce({"read", "told", "long", "huge"});
  EXPECT_EQ(log("read"),
            "[T] tmux session failed - falling back to direct headless\n"
            "===== vendry: read @ T (background, client=claude) =====\n4\nthe task\n"
            "===== vendry: read done (exit 4) =====\n");
  EXPECT_THAT(log("told"), HasSubstr("\nthe task\n===== vendry: told done (exit 137) =====\n"));
  EXPECT_THAT(log("long"), HasSubstr("could not start /usr/bin/env: Argument list too long"));
  EXPECT_THAT(log("huge"), HasSubstr("agent not started: could not take as a prompt "));
  for (const auto* name : {"long", "huge"}) EXPECT_EQ(lastExit(name), "-1");
}

TEST_F(LauncherTest, opensAWindowAndClosesItByItsId) {
  standIn("claude", "exit 2");
  standIn("osascript", R"sh(script=$(cat)
path=$(sed -n 's/.*write text "exec bash \(.*\)"/\1/p' <<< "$script")
[ -n "$path" ] || echo "$# $script" >> ~/closing
[[ $path == */stopped.run.sh ]] || bash "$path" &> /dev/null
[[ $path == */@(plain|stopped).run.sh ]] && echo w0-1:2.A_ || echo 'x" is "x')sh");
  setenv("TAVRO_PLATFORM_BIN", (scratch_ / ".local/bin").c_str(), 1);
  for (const std::string name : {"plain", "hostile"}) loop(name, {{"screen", 99}});
  VendryEngine::ensureLayout();
  Files::replace(LoopFiles("plain").doneMarker, "9");  // of a run before
  runAtOnce({"plain", "hostile"});
  EXPECT_EQ(lastExit("plain"), "2");
  EXPECT_THAT(log("plain"), testing::EndsWith("[T] launched iTerm2 session w0-1:2.A_\n[T] run finished\n"));
  EXPECT_THAT(log("hostile"), HasSubstr("[T] launched iTerm2 session \n"));
  EXPECT_THAT(file("closing"), testing::StartsWith("0 tell application \"iTerm2\"\n"));
  EXPECT_EQ(Text::split(file("closing"), '"').at(3), "w0-1:2.A_");
  EXPECT_EQ(Text::split(file("closing"), '"').size(), 5U) << "once: what isn't an id closes nothing";
  loop("stopped", {{"visible", true}});
  auto stopped = std::async(std::launch::async, [] { return run("stopped"); });
  while (!log("stopped").ends_with("A_\n")) std::this_thread::yield();
  VendryEngine::stop("stopped");
  EXPECT_EQ(stopped.get(), 143);
  EXPECT_EQ(lastExit("stopped"), "(none)");
  EXPECT_EQ(Text::split(file("closing"), '"').size(), 9U) << "nobody else closes its window";
}

TEST_F(LauncherTest, takesASessionForGoneOnlyWhenTmuxSaysSo) {
  EXPECT_EQ(TmuxSession::look("news"), TmuxSession::State::gone) << "no server";
  VendryEngine::ensureLayout();
  VendryEngine::tmux({"new-session", "-d", "-s", "newsletter"});
  EXPECT_EQ(TmuxSession::look("news"), TmuxSession::State::gone);
  TmuxSession::close("news");
  EXPECT_EQ(TmuxSession::look("newsletter"), TmuxSession::State::there);
  TmuxSession::close("newsletter");
  setenv("TAVRO_HOME", (scratch_ / std::string(120, 'x')).c_str(), 1);  // more than a socket's name may have
  EXPECT_EQ(TmuxSession::look("newsletter"), TmuxSession::State::unknown);
}

TEST_F(LauncherTest, readsWhateverAnAgentLeavesAsItsMarker) {
  const auto marker = scratch_ / "marker";
  const std::vector<std::pair<std::string, int>> markers = {{"0\n", 0},
                                                            {"done 2", 2},
                                                            {"abc", 1},
                                                            {"2147483648", 1},
                                                            {std::string(40, '0') + "5", 5},
                                                            {std::string(5000, '0'), 1}};
  for (const auto& [text, code] : markers) {
    Files::replace(marker, text);
    EXPECT_EQ(DoneMarker::wait(marker, 60).code, code) << text;
  }
}

}  // namespace
