// A home, a desktop and a shell for one test, all in a directory that goes with it.
#pragma once

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "Platform/Bundle.h"
#include "Platform/Files.h"
#include "Platform/Process.h"

class Sandbox {
 public:
  Sandbox() {
    std::string name = std::filesystem::temp_directory_path() / "tavro-cli-XXXXXX";
    root_ = ::mkdtemp(name.data());
    // A stand-in, so that no timer of a test's gets into the session of the person who runs it.
    Files::createDirectories(platform());
    Files::replace(platform() / "launchctl", "#!/bin/sh\necho \"$1 ${3##*vendry.}\" >> \"$HOME/launchctl.log\"\n",
                   0755);
  }
  ~Sandbox() {
    std::filesystem::remove_all(root_);
    std::filesystem::remove_all(platform());
  }
  Sandbox(const Sandbox&) = delete;
  Sandbox& operator=(const Sandbox&) = delete;

  const std::filesystem::path& root() const { return root_; }

  std::map<std::string, std::string> environment() const {
    return {{"PATH", Bundle::url().string() + ":/usr/bin:/bin"},
            {"HOME", root_},
            {"TAVRO_HOME", root_ / "home"},
            {"TAVRO_DESKTOP", root_ / "desktop"},
            {"XDG_DATA_HOME", root_},
            {"XDG_RUNTIME_DIR", ""},  // no session bus, and so no keyring of the person who runs the tests
            {"DBUS_SESSION_BUS_ADDRESS", ""},
            {"TAVRO_PLATFORM_BIN", platform()},
            {"VENDRY_RUN", ""},
            {"VENDRY_DONE", ""},
            {"NO_COLOR", ""},
            {"TERM", "xterm"}};
  }

  /// Runs a shell command in the directory, without a terminal: in a session of its own.
  Process::Result shell(const std::string& command) const {
    return Process::run({.program = "/usr/bin/setsid",
                         .arguments = {"--wait", "/bin/sh", "-c", command},
                         .input = "",
                         .environment = environment(),
                         .directory = root_});
  }

 private:
  std::filesystem::path platform() const { return root_.string() + ".platform"; }

  std::filesystem::path root_;
};
