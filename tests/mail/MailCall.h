// Calls a mail tool in one line, as it is called behind the gate: call("move", "from=ann;dest=Old").
#pragma once

#include <sstream>
#include <string>

#include "TavroCore/harness/HarnessRunner.h"
#include "TavroCore/harness/Tools.h"

inline Arguments arguments(const std::string& text) {
  Arguments args;
  std::istringstream pairs(text);
  for (std::string pair; std::getline(pairs, pair, ';');)
    args[pair.substr(0, pair.find('='))] = pair.substr(pair.find('=') + 1);
  return args;
}

inline const Tool& mailTool(const std::string& id) { return *Tools::find("mail." + id); }

/// What comes out, or why not.
inline std::string call(const std::string& id, const Arguments& args) try {
  mailTool(id).build(args);
  const auto built = HarnessRunner::executeBuilt(mailTool(id), args);
  return built.ok ? built.output : built.error;
} catch (const ToolError& error) {
  return error.description();
}
inline std::string call(const std::string& id, const std::string& args = "") { return call(id, arguments(args)); }

inline std::string preview(const std::string& id, const std::string& args) {
  return mailTool(id).preview(arguments(args)).value_or("(none)");
}
