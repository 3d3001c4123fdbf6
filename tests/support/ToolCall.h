// Calls a tool in one line, as it is called behind the gate: callTool("cal.find", "days=3;contains=lunch").
#pragma once

#include <sstream>
#include <string>

#include "TavroCore/harness/HarnessRunner.h"
#include "TavroCore/harness/Tools.h"

/// "key=value;key=value"
inline Arguments arguments(const std::string& text) {
  Arguments args;
  std::istringstream pairs(text);
  for (std::string pair; std::getline(pairs, pair, ';');)
    args[pair.substr(0, pair.find('='))] = pair.substr(pair.find('=') + 1);
  return args;
}

/// What comes out, or why not.
inline std::string callTool(const std::string& id, const Arguments& args) try {
  const auto& tool = *Tools::find(id);
  buildScript(tool, args);
  const auto built = HarnessRunner::executeBuilt(tool, args);
  return built.ok ? built.output : built.error;
} catch (const Error& error) {
  return error.description();
}
inline std::string callTool(const std::string& id, const std::string& args = "") {
  return callTool(id, arguments(args));
}

inline std::string previewOf(const std::string& id, const std::string& args) {
  return Tools::find(id)->preview(arguments(args)).value_or("(none)");
}
