// `tavro auto log`: what an automation's runs wrote, and what they write.
#include <algorithm>
#include <limits>
#include <memory>

#include "Platform/Files.h"
#include "Platform/GrowingFile.h"
#include "TavroCLI/AutoVerbs.h"
#include "TavroCLI/Display.h"
#include "TavroCLI/Loops.h"
#include "TavroCLI/Terminal.h"
#include "TavroCLI/Usage.h"
#include "TavroCore/automations/RunLog.h"
#include "TavroCore/automations/VendryEngine.h"
#include "TavroCore/harness/LoopName.h"

namespace {

/// A removed loop leaves its log, and one that never ran has none yet.
std::filesystem::path logOf(const std::string& name) {
  if (isSafeLoopName(name) && Files::exists(VendryEngine::logURL(name))) return VendryEngine::logURL(name);
  return VendryEngine::logURL(Loops::get(name).name);
}

/// As people count lines: what follows the last break is one only when something is there.
std::optional<std::string> lastLines(const std::filesystem::path& log, long long count) {
  auto text = RunLog::lastLines(log, std::min(count, std::numeric_limits<long long>::max() - 1) + 1);
  return text && !text->empty() && !text->ends_with('\n') ? RunLog::lastLines(log, count) : text;
}

struct Reading {
  std::string name;
  std::string lines = "80";
  bool follow = false;

  ExitStatus run() const {
    const long long wanted = Usage::wholeNumber("--lines", lines);
    const auto log = logOf(name);
    if (follow) return watch(log, wanted);
    const auto text = lastLines(log, wanted);
    if (!text) tellOfAbsence();
    if (text && !text->empty()) Terminal::printForeign(*text);
    return ExitStatus::done;
  }

  void tellOfAbsence() const { Terminal::say("there is no log of " + name + " yet"); }

  /// Whole lines, as long as they come; what has no end yet is shown once nothing follows it at once.
  ExitStatus watch(const std::filesystem::path& log, long long wanted) const {
    constexpr std::size_t longestLine = 65536;
    constexpr std::chrono::milliseconds pause(300);
    std::optional<GrowingFile> file;
    std::string text = startOf(file, log, wanted);
    for (;;) {
      const std::string added = file->more();
      text += added;
      const bool whole = added.empty() || text.size() > longestLine;
      const std::size_t end = whole ? text.size() : text.rfind('\n') + 1;
      printPart(std::string_view(text).substr(0, end));
      text.erase(0, end);
      if (added.empty() && Terminal::readerLeaves(pause)) return ExitStatus::done;
    }
  }

  /// The last lines, and `file` standing right behind them: a log that grows meanwhile is read again.
  std::string startOf(std::optional<GrowingFile>& file, const std::filesystem::path& log, long long wanted) const {
    std::optional<std::string> text;
    for (int attempts = 0; attempts < 10; ++attempts) {
      file.emplace(log);
      text = lastLines(log, wanted);
      if (!file->hasMore()) break;
    }
    if (!text) tellOfAbsence();
    return text.value_or("");
  }

  static void printPart(std::string_view text) {
    Terminal::print(Terminal::outputIsTerminal() ? Display::harmlessLines(text) : std::string(text));
  }
};

}  // namespace

namespace AutoVerbs {

Work log(CLI::App& command) {
  auto reading = std::make_shared<Reading>();
  command.add_option("NAME", reading->name, "Name of an automation")->required();
  command.add_option("--lines", reading->lines, "So many lines from the end (80)");
  command.add_flag("-f,--follow", reading->follow, "Go on with what is written from now on, until interrupted");
  return [reading] { return reading->run(); };
}

}  // namespace AutoVerbs
