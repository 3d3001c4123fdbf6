#include "TavroCLI/ToolArguments.h"

#include "Platform/Environment.h"
#include "Platform/Files.h"
#include "Platform/Text.h"
#include "TavroCLI/ExitStatus.h"
#include "TavroCLI/Terminal.h"

namespace {

constexpr std::string_view fileKey = "-file";

std::string fileText(const std::string& key, const std::string& path) {
  if (path == "-") return Terminal::wholeInput();
  auto text = Files::readAnything(Environment::expandTilde(path));
  if (!text) throw CommandError(ExitStatus::failed, key + ": there is no file " + path);
  return std::move(*text);
}

void add(Arguments& args, const std::string& word) {
  const std::size_t equals = word.find('=');
  if (equals == std::string::npos || equals == 0) {
    throw CommandError(ExitStatus::wrongUsage, "\"" + word + "\" is no argument; " + ToolArguments::shape);
  }
  std::string key = word.substr(0, equals);
  std::string value = word.substr(equals + 1);
  if (key.ends_with(fileKey) && key.size() > fileKey.size()) {
    value = fileText(key, value);
    key.resize(key.size() - fileKey.size());
  }
  key = Text::repairUTF8(std::move(key));
  if (!args.emplace(key, Text::repairUTF8(std::move(value))).second) {
    throw CommandError(ExitStatus::wrongUsage, "the argument " + key + " is given twice");
  }
}

}  // namespace

Arguments ToolArguments::parsed(const std::vector<std::string>& words) {
  Arguments args;
  for (const auto& word : words) add(args, word);
  return args;
}
