// osascript: runs a script of the desktop's language, from a file, from -e or from standard input.
// What comes out on standard output and standard error, and the exit status, are what callers of the
// program of this name on macOS are used to.
#include <cstdio>
#include <iostream>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Files.h"
#include "Platform/Text.h"
#include "Platform/linux/applescript/Coercion.h"
#include "Platform/linux/applescript/Interpreter.h"
#include "Platform/linux/apps/Applications.h"

namespace {

constexpr const char* usage =
    "usage: osascript [-l language] [-s {ehso}] [programfile | -e statement] [argument ...]\n";

enum Exit { done = 0, failed = 1 };

struct Call {
  std::optional<std::string> statements;  // the -e texts, a line each
  std::string file;                       // empty or "-": standard input
  std::vector<std::string> arguments;
  bool source = false;          // -s s: print values as they would stand in a script
  bool errorsOnOutput = false;  // -s o
};

struct WrongUsage {
  std::string message;
};

void setStyle(Call& call, const std::string& flags) {
  for (const char flag : flags) {
    if (flag == 's' || flag == 'h')
      call.source = flag == 's';
    else if (flag == 'o' || flag == 'e')
      call.errorsOnOutput = flag == 'o';
    else
      throw WrongUsage{std::string("unknown flag for -s: ") + flag};
  }
}

void setOption(Call& call, char option, const std::string& value) {
  if (option == 'e')
    call.statements = call.statements ? *call.statements + "\n" + value : value;
  else if (option == 's')
    setStyle(call, value);
  else if (!Text::equalIgnoringCase(value, "AppleScript"))
    throw WrongUsage{"no such component \"" + value + "\""};
}

// Options come first; the first word that isn't one, or "-", is the file, and everything behind it is
// an argument, whatever it looks like.
Call parse(const std::vector<std::string>& words) {
  Call call;
  std::size_t at = 0;
  for (; at < words.size() && words[at].size() > 1 && words[at][0] == '-'; ++at) {
    if (words[at] == "--") {
      ++at;
      break;
    }
    const char option = words[at][1];
    if (option != 'e' && option != 's' && option != 'l') throw WrongUsage{std::string("illegal option -- ") + option};
    const bool joined = words[at].size() > 2;
    if (!joined && at + 1 == words.size()) throw WrongUsage{std::string("option requires an argument -- ") + option};
    setOption(call, option, joined ? words[at].substr(2) : words[at + 1]);
    if (!joined) ++at;
  }
  if (!call.statements && at < words.size()) call.file = words[at++];
  for (; at < words.size(); ++at) call.arguments.push_back(Text::repairUTF8(words[at]));
  return call;
}

std::optional<std::string> sourceOf(const Call& call) {
  if (call.statements) return call.statements;
  if (call.file.empty() || call.file == "-")
    return std::string(std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>());
  return Files::readAnything(call.file);
}

int report(const Call& call, const AppleScript::Outcome& outcome) {
  std::string line = call.statements || call.file.empty() || call.file == "-" ? "" : call.file + ":";
  line += std::to_string(outcome.begin) + ":" + std::to_string(outcome.end) + ": ";
  line += outcome.isSyntax ? "syntax error: " : "execution error: ";
  line += outcome.message + " (" + std::to_string(outcome.number) + ")\n";
  (call.errorsOnOutput ? std::cout : std::cerr) << line << std::flush;
  return failed;
}

int run(const Call& call) {
  const std::optional<std::string> source = sourceOf(call);
  if (!source) {
    std::cerr << "osascript: " << call.file << ": No such file or directory\n";
    return failed;
  }
  const auto applications = Applications::installedApplications();
  const AppleScript::Outcome outcome = AppleScript::run(*source, call.arguments, *applications);
  if (!outcome.ok) return report(call, outcome);
  std::cout << (call.source ? AppleScript::sourceForm(outcome.result) : AppleScript::resultForm(outcome.result)) << "\n"
            << std::flush;
  return std::cout ? done : failed;
}

}  // namespace

int main(int count, char** words) {
  std::ios::sync_with_stdio(false);
  try {
    return run(parse({words + 1, words + count}));
  } catch (const WrongUsage& wrong) {
    std::cerr << "osascript: " << wrong.message << "\n" << usage;
  } catch (const Error& error) {
    std::cerr << "osascript: " << error.description() << "\n";
  }
  return failed;
}
