// A home with automations, and stand-ins for the programs that the store starts: each writes down its arguments.
#pragma once

#include "Platform/Text.h"
#include "TavroCore/automations/VendryEngine.h"
#include "tests/harness/Home.h"

class LoopHome : public HomeTest {
 protected:
  LoopHome() {
    const auto bin = user / "bin";
    for (const char* program : {"launchctl", "open"}) {
      write(bin / program, "#!/bin/sh\necho \"${0##*/} $*\" >> '" + (user / "calls").string() + "'\n");
      Files::setMode(bin / program, 0755);
    }
    ::setenv("TAVRO_PLATFORM_BIN", bin.c_str(), 1);
    ::setenv("TMPDIR", user.c_str(), 1);
  }
  ~LoopHome() override {
    VendryEngine::tmux({"kill-server"});
    for (const char* name : {"TAVRO_PLATFORM_BIN", "TMPDIR"}) ::unsetenv(name);
  }

  static AutomationDraft script(const std::string& name, const std::string& command = "true",
                                const Schedule& schedule = {}) {
    return {.name = name, .work = AutomationDraft::Script{.command = command}, .schedule = schedule};
  }
  /// What the programs were called with since the last time.
  std::vector<std::string> calls() const {
    const auto lines = Text::split(Files::read(user / "calls").value_or(""), '\n', true);
    Files::remove(user / "calls");
    return lines;
  }
};

/// The message of what `operation` throws.
template <typename Operation>
std::string refusal(const Operation& operation) try {
  operation();
  return "(done)";
} catch (const Error& error) {
  return error.description();
}
