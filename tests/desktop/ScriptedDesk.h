// A desk whose applications are told things, each script as in a process of its own.
#pragma once

#include <string>
#include <vector>

#include "Platform/linux/applescript/Coercion.h"
#include "Platform/linux/applescript/Interpreter.h"
#include "Platform/linux/apps/Applications.h"
#include "tests/desktop/Desk.h"

class ScriptedDesk : public Desk {
 protected:
  struct Step {
    std::string script;
    std::string result;
  };

  /// The result, or the message with its number.
  static std::string run(const std::string& script, const std::vector<std::string>& arguments = {}) {
    const auto directory = Applications::installedApplications();
    const auto outcome = AppleScript::run(script, arguments, *directory);
    if (outcome.ok) return AppleScript::resultForm(outcome.result);
    return (outcome.isSyntax ? "syntax: " : "") + outcome.message + " (" + std::to_string(outcome.number) + ")";
  }
  static std::string tell(const std::string& application, const std::string& statements) {
    return run("tell application \"" + application + "\"\n" + statements + "\nend tell");
  }
};
