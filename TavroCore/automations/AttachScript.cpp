#include "TavroCore/automations/AttachScript.h"

#include <fmt/format.h>

#include "Platform/Environment.h"
#include "Platform/Files.h"
#include "Platform/Program.h"
#include "Platform/Text.h"
#include "TavroCore/automations/ShellText.h"
#include "TavroCore/automations/VendryEngine.h"

namespace AttachScript {
namespace {

constexpr std::string_view closeInTerminal = R"(  tell application "Terminal"
    repeat with w in windows
      try
        if tty of (selected tab of w) is t then close w saving no
      end try
    end repeat
  end tell
)";

constexpr std::string_view closeInITerm = R"(  tell application "iTerm2"
    repeat with w in windows
      repeat with tb in tabs of w
        repeat with s in sessions of tb
          try
            if tty of s is t then close w
          end try
        end repeat
      end repeat
    end repeat
  end tell
)";

/// "/Applications/iTerm.app/" is "iterm".
std::string kindOf(std::string application) {
  while (application.size() > 1 && application.ends_with('/')) application.pop_back();
  return Text::lowercase(std::filesystem::path(application).stem().string());
}

std::string closingWith(std::string_view block) {
  return fmt::format(R"sh(( sleep 1; {} - "$TTY" >/dev/null 2>&1 <<'OSA'
on run argv
  set t to item 1 of argv
{}end run
OSA
  ) &
)sh",
                     ShellText::word(Platform::program("osascript").string()), block);
}

std::string closing(const std::string& kind) {
  if (kind == "terminal") return closingWith(closeInTerminal);
  if (kind == "iterm" || kind == "iterm2") return closingWith(closeInITerm);
  return "  :\n";
}

}  // namespace

std::string text(const LoopFiles& files, const std::string& application) {
  return fmt::format(R"sh(#!/bin/bash
export PATH="/opt/homebrew/bin:/usr/local/bin:$PATH"
TTY="$(tty)"
if tmux -S {} attach -t {}; then
{}fi
)sh",
                     ShellText::quoted(VendryEngine::tmuxSocket().string()), ShellText::quoted(files.name),
                     closing(kindOf(application)));
}

std::filesystem::path write(const LoopFiles& files, const std::string& application) {
  const auto directory = Environment::temporaryDirectory();
  const auto script = directory / ("tavro-attach-" + files.name + ".command");
  // Made under a name that nobody can guess and moved over whatever is there: a link isn't followed, and where the
  // directory is shared the system refuses to replace what is another user's.
  const auto fresh = Files::temporaryName(directory, "tavro-attach", "command");
  Files::createNew(fresh, text(files, application), 0700, Files::Durability::unflushed);
  try {
    Files::setMode(fresh, 0755);
    Files::move(fresh, script);
  } catch (const FileFailure&) {
    Files::remove(fresh);
    throw;
  }
  return script;
}

}  // namespace AttachScript
