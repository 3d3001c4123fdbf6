// A home, a desktop and a shell for one test, all in a directory that goes with it.
#pragma once

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "Platform/Bundle.h"
#include "Platform/Process.h"

class Sandbox {
 public:
  Sandbox() {
    std::string name = std::filesystem::temp_directory_path() / "tavro-cli-XXXXXX";
    root_ = ::mkdtemp(name.data());
  }
  ~Sandbox() { std::filesystem::remove_all(root_); }
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
            {"VENDRY_RUN", ""},
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
  std::filesystem::path root_;
};
