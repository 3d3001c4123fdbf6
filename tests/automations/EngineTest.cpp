// Guards the store of automations: what it reads from files that anybody may have written, that several processes can
// use it at once, and that no operation ever reaches another loop than the one it was given.
#include <sys/stat.h>

#include "Platform/Bundle.h"
#include "Platform/Json.h"
#include "Platform/Process.h"
#include "tests/automations/LoopHome.h"

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class EngineTest : public LoopHome {
 protected:
  std::filesystem::path record(const std::string& name) const { return home / "automations" / name / "loop.json"; }
  std::filesystem::path state(const std::string& name) const { return home / ".runtime/state" / (name + ".json"); }
};

TEST_F(EngineTest, readsRecordsAndStatesOfAnyShape) {
  const auto summary = [&](const std::string& fields, const std::string& stateText) {
    write(record("x"), R"({"name": "x")" + fields + "}");
    write(state("x"), stateText);
    const auto loop = VendryEngine::find("x");
    if (!loop) return std::string("(nothing)");
    return std::string(rawValue(loop->kind)) + ", " + loop->schedule.display() + ", " + loop->prompt.value_or("-") +
           (loop->enabled ? ", on" : ", paused") + (loop->lastRun ? ", ran " : ", never ") +
           std::to_string(loop->lastExit.value_or(-9));
  };
  const std::string script = R"(, "kind": "script", "command": )";
  EXPECT_EQ(summary("", ""), "agent, every 6h, -, on, never -9");
  EXPECT_EQ(summary(script + R"("'/opt/tavro' run mail.send x=1")", "[]"), "tool, every 6h, -, on, never -9");
  EXPECT_EQ(summary(script + R"("echo run now")", R"({"enabled": 0, "lastExit": "1", "lastRun": 5})"),
            "script, every 6h, -, on, never -9");
  EXPECT_EQ(summary(script + R"(7, "schedule": {"type": "calendar"})", ""), "script, daily 9:00, -, on, never -9");
  EXPECT_EQ(summary(R"(, "kind": [], "enabled": true, "prompt": "old", "schedule": "daily")",
                    R"({"enabled": false, "lastRun": "2026-03-14T09:26:53Z", "lastExit": 143.0})"),
            "agent, every 6h, old, paused, ran 143");
  EXPECT_EQ(summary(R"(, "name": 1)", ""), "(nothing)");
  for (const auto& [written, shown] : {std::pair("new", ", new, "), {"\xff", ", old, "}}) {
    write(record("x").parent_path() / "AGENT.md", written);
    EXPECT_THAT(summary(R"(, "prompt": "old")", ""), HasSubstr(shown));
  }
}

TEST_F(EngineTest, listsEachLoopOnceByItsName) {
  for (const char* name : {"b", "a", "Ä"}) VendryEngine::add(script(name));
  write(record("copy"), R"({"name": "a"})");
  write(home / "automations/.hidden/loop.json", R"({"name": ".hidden"})");
  std::filesystem::create_directories(home / "automations/pipe");
  ASSERT_EQ(::mkfifo(record("pipe").c_str(), 0600), 0);
  write(record("huge"), R"({"name": "huge"})");
  std::filesystem::resize_file(record("huge"), 1LL << 40);
  std::string names;
  for (const auto& loop : VendryEngine::list()) names += loop.name + " ";
  EXPECT_EQ(names, "a b Ä ");
}

TEST_F(EngineTest, keepsWithinItsDirectoryWhateverTheName) {
  write(home / "loop.json", R"({"name": ".."})");
  for (const std::string name : {"..", "", ".", "a/../..", "../x", "a ", "a:b", "$(x)", "a\n", "-x"}) {
    EXPECT_THAT(refusal([&] { VendryEngine::add(script(name)); }), HasSubstr("begins with a letter or digit")) << name;
    for (const auto& operation : std::initializer_list<std::function<void()>>{
             [&] { VendryEngine::edit(script(name)); }, [&] { VendryEngine::setEnabled(name, true); },
             [&] { VendryEngine::remove(name); }, [&] { VendryEngine::runNow(name); },
             [&] { VendryEngine::stop(name); }, [&] { VendryEngine::attach(name); },
             [&] { VendryEngine::syncOne(name); }})
      EXPECT_EQ(refusal(operation), "no such automation: " + name);
    EXPECT_TRUE(VendryEngine::logURL(name).empty());
  }
  EXPECT_THAT(Files::listIfPossible(home / "automations"), IsEmpty());
  EXPECT_THAT(calls(), IsEmpty());
}

TEST_F(EngineTest, movesAnOlderPauseAndPromptWhereTheyCanBeWrittenAndNeverLosesThem) {
  for (const std::string name : {"x", "full"}) {
    write(record(name), R"({"name": ")" + name + R"(", "prompt": "Do.", "enabled": false})");
    for (const auto& file : {record(name).parent_path() / "AGENT.md", state(name)})
      if (name == "full") std::filesystem::create_directories(file / "in the way");
    VendryEngine::edit({.name = name, .work = AutomationDraft::Agent{.prompt = "Do.", .model = "opus"}});
    const auto loop = *VendryEngine::find(name);
    EXPECT_EQ(std::make_tuple(*loop.prompt, *loop.model, loop.enabled), std::make_tuple("Do.", "opus", false)) << name;
    for (const char* moved : {"prompt", "enabled"})
      EXPECT_EQ(VendryEngine::rawObject(name)->contains(moved), name == "full") << moved;
  }
  EXPECT_EQ(refusal([] { VendryEngine::setEnabled("full", true); }),
            "'full' could not be enabled: " + state("full").string() + " can't be written");
  EXPECT_THAT(calls(), Each(HasSubstr("bootout"))) << "no timer";
  VendryEngine::remove("x");
  VendryEngine::writeRunState("x", 1);  // of the run that was on its way
  EXPECT_FALSE(Files::exists(record("x").parent_path()) || Files::exists(state("x")));
}

TEST_F(EngineTest, addsANameOnceHoweverManyTry) {
  inProcesses(6, [&](int number) {
    const auto result = refusal([&] { VendryEngine::add(script("x", std::to_string(number))); });
    if (result == "(done)") Files::append(user / "winners", std::to_string(number));
  });
  EXPECT_EQ(read(user / "winners"), VendryEngine::find("x")->command);
}

TEST_F(EngineTest, keepsAPauseThatComesAsARunEnds) {
  VendryEngine::add(script("x"));
  inProcesses(2, [&](int number) {
    for (int i = 0; i < 40; ++i) {
      const bool on = i % 2 == 0;
      number == 0 ? VendryEngine::writeRunState("x", i) : VendryEngine::setEnabled("x", on);
      EXPECT_TRUE(number == 0 || VendryEngine::find("x")->enabled == on) << i;
    }
  });
  EXPECT_EQ(VendryEngine::find("x")->lastExit, 39);
}

TEST_F(EngineTest, leavesWholeFilesOnAFullDisk) {
  write(home / "config.json", R"({"autonomyMode": "yolo"})");
  VendryEngine::add(script("x", "before"));
  bool fired = true;
  int from = 0;
  while (fired) {
    Files::remove(user / "fired");
    Process::run({.program = Bundle::url() / "Contents/Helpers/tavro",
                  .arguments = {"run", "auto.edit", "name=x", "command=after"},
                  .environment = {{"LD_PRELOAD", Bundle::url() / "libfaults.so"},
                                  {"ASAN_OPTIONS", "verify_asan_link_order=0:detect_leaks=0"},
                                  {"TAVRO_FAULT_FROM", std::to_string(++from)},
                                  {"TAVRO_FAULT_MARKER", user / "fired"}}});
    ASSERT_THAT(VendryEngine::find("x").value().command.value(), testing::AnyOf("before", "after")) << from;
    ASSERT_TRUE(JsonText::parseObject(read(state("x")))) << from;
    fired = Files::exists(user / "fired");
  }
  EXPECT_GT(from, 5);
  EXPECT_EQ(VendryEngine::find("x")->command, "after");
}

TEST_F(EngineTest, stopsTheProcessThatHoldsTheLockAndItsChild) {
  VendryEngine::add(script("x"));
  EXPECT_EQ(refusal([] { VendryEngine::stop("x"); }), "'x' is not running");
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  const pid_t process = ::fork();
  if (process == 0 && ::dup2(ends[1], 1) == 1) ::execl("/bin/sh", "sh", "-c", "sleep 60 & echo; wait", nullptr);
  char line = 0;
  EXPECT_EQ(::read(ends[0], &line, 1), 1) << "the child is there";
  ::close(ends[1]);
  const auto lock = home / ".runtime/run/x.lock.d";
  write(lock / "pid", std::to_string(process) + "\n");
  write(lock / "process", Process::identity(process));
  EXPECT_TRUE(VendryEngine::find("x")->running);
  VendryEngine::stop("x");
  EXPECT_EQ(::read(ends[0], &line, 1), 0) << "neither of the two has the pipe any more";
  EXPECT_EQ(::waitpid(process, nullptr, 0), process);
}

TEST_F(EngineTest, stopsAndShowsTheSessionOfThatNameAndNoOther) {
  for (const std::string name : {"news", "newsletter", "Ä b"}) {
    VendryEngine::add(script(name));
    if (name != "news") VendryEngine::tmux({"new-session", "-d", "-s", name, "exec sleep 60"});
  }
  calls();
  EXPECT_EQ(refusal([] { VendryEngine::stop("news"); }), "'news' is not running");
  EXPECT_EQ(refusal([] { VendryEngine::attach("news"); }), "'news' has no session in the background");
  VendryEngine::tmux({"new-session", "-d", "-s", "news", "exec sleep 60"});
  const auto script = user / "tavro-attach-news.command";
  write(user / "victim", "mine");
  std::filesystem::create_symlink(user / "victim", script);
  VendryEngine::attach("news");
  EXPECT_THAT(calls(), ElementsAre("open -a Terminal " + script.string()));
  EXPECT_EQ(read(user / "victim"), "mine");
  EXPECT_THAT(read(script),
              HasSubstr("tmux -S '" + VendryEngine::tmuxSocket().string() + "' attach -t 'news'; then\n( "));
  EXPECT_EQ(std::filesystem::status(script).permissions(), std::filesystem::perms(0755));
  VendryEngine::stop("news");
  EXPECT_EQ(read(home / ".runtime/run/news.done"), "143");
  VendryEngine::stop("Ä b");
  for (const std::string name : {"news", "newsletter", "Ä b"})
    EXPECT_EQ(VendryEngine::hasSession(name), name == "newsletter") << name;
}

}  // namespace
