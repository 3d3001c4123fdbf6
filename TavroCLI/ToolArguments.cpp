#include "TavroCLI/ToolArguments.h"

#include "Platform/Environment.h"
#include "Platform/Files.h"
#include "Platform/Text.h"
#include "TavroCLI/Catalogue.h"
#include "TavroCLI/Terminal.h"
#include "TavroCLI/Usage.h"

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
    Usage::wrong("\"" + word + "\" is no argument; " + ToolArguments::shape);
  }
  std::string key = word.substr(0, equals);
  std::string value = word.substr(equals + 1);
  if (key.ends_with(fileKey) && key.size() > fileKey.size()) {
    value = fileText(key, value);
    key.resize(key.size() - fileKey.size());
  }
  key = Text::repairUTF8(std::move(key));
  if (!args.emplace(key, Text::repairUTF8(std::move(value))).second) {
    Usage::wrong("the argument " + key + " is given twice");
  }
}

}  // namespace

Arguments ToolArguments::parsed(const std::vector<std::string>& words) {
  Arguments args;
  for (const auto& word : words) add(args, word);
  return args;
}

ToolArguments::Call ToolArguments::call(const std::vector<std::string>& words) {
  if (words.empty()) Usage::wrong(std::string("which tool? `tavro tools` lists them; ") + shape);
  Call call{Catalogue::get(words.front()), parsed({words.begin() + 1, words.end()})};
  for (const auto& [key, value] : call.args) {
    if (!Catalogue::mayTake(call.tool, key))
      Terminal::say("tavro: warning: " + call.tool.id + " tells of no argument \"" + key +
                    "\" and may pass over it; `tavro tools " + call.tool.id + "` shows what it takes");
  }
  return call;
}
