// Runs of real loops by the real `tavro`, with stand-ins for the agents' clients.
#pragma once

#include <future>

#include "Platform/Files.h"
#include "Platform/Text.h"
#include "TavroCore/automations/LoopFiles.h"
#include "TavroCore/automations/VendryEngine.h"
#include "tests/process/Programs.h"

class Runs : public ProgramsTest {
 protected:
  ~Runs() override { VendryEngine::tmux({"kill-server"}); }

  static void loop(const std::string& name, const Json& record, const std::string& prompt = "") {
    const LoopFiles files(name);
    Files::createDirectories(files.directory);
    Files::replace(files.record, JsonText::write(record));
    Files::replace(files.agent, prompt);
  }
  static void script(const std::string& name, const std::string& command) {
    loop(name, {{"name", name}, {"kind", "script"}, {"command", command}});
  }
  /// A program that runs find before all others.
  void standIn(const std::string& name, const std::string& body) const {
    const auto file = scratch_ / ".local/bin" / name;
    Files::createDirectories(file.parent_path());
    Files::replace(file, "#!/bin/bash\n" + body + "\n");
    Files::setMode(file, 0755);
  }
  static int run(const std::string& name) { return tavro({"auto-run", name}).status.shellCode(); }
  static void runAtOnce(const std::vector<std::string>& names) {
    std::vector<std::future<int>> runs;
    for (const auto& name : names) runs.push_back(std::async(std::launch::async, [name] { return run(name); }));
    for (auto& ended : runs) EXPECT_EQ(ended.get(), 0);
  }
  /// With every time as "T".
  static std::string log(const std::string& name) {
    static const Text::Pattern time("[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}");
    return time.replaceAll(Files::read(LoopFiles(name).log).value_or("(no log)"), "T");
  }
  /// The exit code in its state, or "(none)".
  static std::string lastExit(const std::string& name) {
    const auto state = JsonText::parseObject(Files::read(LoopFiles(name).state).value_or(""));
    return state && state->contains("lastExit") ? state->at("lastExit").dump() : "(none)";
  }
  std::string file(const std::string& name) const { return Files::read(scratch_ / name).value_or("(no file)"); }
};
