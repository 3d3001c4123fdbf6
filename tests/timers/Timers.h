// A user of their own for each test, whose systemd is a stand-in: a `systemctl` that writes down how it is called and
// then does as `answer` says. A launchd that was started is ended.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>

#include "Platform/Bundle.h"
#include "Platform/Files.h"
#include "Platform/Json.h"
#include "Platform/Process.h"
#include "Platform/PropertyList.h"
#include "tests/platform/TemporaryDirectory.h"
#include "tests/timers/Launchd.h"

class TimersTest : public testing::Test {
 protected:
  TimersTest() {
    std::filesystem::create_directories(bin);
    answer("exit 1");
    for (const char* name : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "TAVRO_PLATFORM_BIN"}) unsetenv(name);
  }
  ~TimersTest() override { endLaunchd(SIGKILL); }

  /// The rest of the stand-in's script; `$*` is its call.
  void answer(const std::string& script) {
    std::ofstream(bin / "systemctl") << "#!/bin/sh\necho \"$*\" >>'" << calls.string() << "'\n" << script << "\n";
    std::filesystem::permissions(bin / "systemctl", std::filesystem::perms::owner_all);
  }
  /// Of a manager that reads our units.
  void answerAsManager(const std::string& first = "") {
    answer(first + "\necho UnitPath=/etc/x '\"" + units.string() + "\"'");
  }

  std::string list(const std::string& name, const Json& propertyList) const {
    const auto file = user / (name + ".plist").c_str();
    std::ofstream(file) << PropertyList::xml(propertyList);
    return file;
  }
  static Json shell(const std::string& label, const std::string& script, const Json& more = Json::object()) {
    Json job = {{"Label", label}, {"ProgramArguments", {"/bin/sh", "-c", script}}};
    job.update(more);
    return job;
  }
  static Process::Result launchctl(std::vector<std::string> words) {
    return Process::run({.program = desktopProgram("launchctl"), .arguments = std::move(words), .input = ""});
  }
  static std::string text(const std::filesystem::path& file) { return Files::read(file).value_or("(no file)"); }
  static std::size_t lines(const std::filesystem::path& file) {
    const auto all = Files::read(file).value_or("");
    return static_cast<std::size_t>(std::count(all.begin(), all.end(), '\n'));
  }
  static std::filesystem::path desktopProgram(const char* name) { return Bundle::url() / "Contents/Desktop" / name; }

  pid_t launchd() const { return Launchd::process(desktop); }
  void endLaunchd(int signal) const { Launchd::end(desktop, signal); }

  const TemporaryDirectory user;
  const std::filesystem::path bin = user / "bin";
  const std::filesystem::path calls = user / "calls";
  const std::filesystem::path units = user / ".config/systemd/user";
  const std::filesystem::path desktop = user / "desktop";
  const std::filesystem::path lock = Launchd::lock(desktop);
  const std::string domain = "gui/" + std::to_string(::getuid());

 private:
  const Environment::Setting home_{"HOME", user.path()};
  const Environment::Setting desktop_{"TAVRO_DESKTOP", desktop};
  const Environment::Setting runtime_{"XDG_RUNTIME_DIR", user.path()};
  const Environment::Setting path_{"PATH", bin.string() + ":" + Environment::value("PATH").value_or("")};
};
