#include "TavroCLI/RunVerb.h"

#include <memory>
#include <optional>

#include "Platform/Environment.h"
#include "Platform/Files.h"
#include "Platform/Text.h"
#include "TavroCLI/Catalogue.h"
#include "TavroCLI/Terminal.h"
#include "TavroCore/harness/ConfigDir.h"
#include "TavroCore/harness/HarnessRunner.h"

namespace {

constexpr std::string_view shape =
    "arguments are key=value, or key-file=PATH for the text of a file (- for standard input)";
constexpr std::string_view fileKey = "-file";

struct Call {
  std::string tool;
  std::vector<std::string> pairs;
};

std::string fileText(const std::string& key, const std::string& path) {
  if (path == "-") return Terminal::wholeInput();
  auto text = Files::readAnything(Environment::expandTilde(path));
  if (!text) throw CommandError(ExitStatus::failed, key + ": there is no file " + path);
  return std::move(*text);
}

/// Reads one word of the command line into `args`. Texts are repaired here, so that a queued action holds exactly what
/// will run.
void addArgument(Arguments& args, const std::string& word) {
  const std::size_t equals = word.find('=');
  if (equals == std::string::npos || equals == 0) {
    throw CommandError(ExitStatus::wrongUsage, "\"" + word + "\" is no argument; " + std::string(shape));
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

std::string actor() {
  const auto loop = Environment::value("VENDRY_RUN");
  return loop ? "vendry:" + Text::repairUTF8(*loop) : "cli";
}

ExitStatus report(const HarnessRunner::Executed& result) {
  Terminal::printForeign(result.output.empty() ? "✅ ok" : result.output);
  return ExitStatus::done;
}

/// The lines that an agent's client would show, with what the reader of this one can do about it.
ExitStatus report(const HarnessRunner::Pending& result) {
  std::string text = "⏸ Destructive action queued for human approval (id=" + result.id + ").\n";
  if (result.preview) text += "Impact: " + *result.preview + "\n";
  Terminal::printForeign(text + "It will NOT run until a human approves it: tavro approve " + result.id);
  return ExitStatus::queued;
}

ExitStatus report(const HarnessRunner::Failed& result) {
  Terminal::say("❌ " + result.message);
  return result.denied ? ExitStatus::denied : ExitStatus::failed;
}

ExitStatus perform(const Call& call) {
  const Tool& tool = Catalogue::get(call.tool);
  Arguments args;
  for (const auto& pair : call.pairs) addArgument(args, pair);
  const auto result = HarnessRunner::run(tool, args, actor(), ConfigDir::url());
  return std::visit([](const auto& each) { return report(each); }, result);
}

}  // namespace

namespace RunVerb {

Work run(CLI::App& command) {
  command.footer("The " + std::string(shape) +
                 ".\nExit status: 0 done, 1 failed, 2 wrong usage, 3 queued for approval, 4 denied.\n");
  command.prefix_command();  // every word that follows is the tool's, whatever it looks like
  return [&command] {
    std::vector<std::string> words = command.remaining();
    if (words.empty()) {
      throw CommandError(ExitStatus::wrongUsage, "which tool? `tavro tools` lists them; " + std::string(shape));
    }
    return perform({.tool = words.front(), .pairs = {words.begin() + 1, words.end()}});
  };
}

}  // namespace RunVerb
