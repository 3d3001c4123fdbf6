#include "TavroCore/automations/Automation.h"

#include <algorithm>

#include "Platform/Text.h"
#include "TavroCore/automations/AgentClients.h"

namespace {

/// What a run leaves that was ended from outside: 143 is written by `stop`, 137 is a killed client.
constexpr long long terminated = 143, killed = 137;

/// A line of markdown as it reads: without heading, quote, emphasis and code marks, list items with a bullet.
std::string plain(std::string_view line) {
  line.remove_prefix(std::min(line.find_first_not_of("#>"), line.size()));
  std::string text(Text::trimBlanks(line));
  if (text.starts_with("- ") || text.starts_with("* ") || text.starts_with("+ ")) text.replace(0, 2, "• ");
  return Text::replaceAll(Text::replaceAll(text, "**", ""), "`", "");
}

}  // namespace

std::string_view rawValue(Automation::Kind kind) {
  switch (kind) {
    case Automation::Kind::agent:
      break;
    case Automation::Kind::script:
      return "script";
    case Automation::Kind::tool:
      return "tool";
  }
  return "agent";
}

std::optional<RunOutcome> Automation::lastOutcome() const {
  if (!lastExit) return std::nullopt;
  if (*lastExit == 0) return RunOutcome::ok;
  const bool wasStopped = *lastExit == terminated || *lastExit == killed;
  // A script that ends so has failed: nobody stops one but by its process.
  return kind == Kind::agent && wasStopped ? RunOutcome::stopped : RunOutcome::failed;
}

std::optional<bool> Automation::lastRunOK() const {
  const auto outcome = lastOutcome();
  if (!outcome) return std::nullopt;
  return *outcome != RunOutcome::failed;
}

std::string Automation::workSummary() const {
  switch (kind) {
    case Kind::agent:
      break;
    case Kind::script:
      return command.value_or("");
    case Kind::tool:
      return stripTavroRunPrefix(command.value_or(""));
  }
  std::string line = prompt.value_or("");
  std::replace(line.begin(), line.end(), '\n', ' ');
  return line;
}

std::string Automation::previewText() const {
  return kind == Kind::agent ? cleanExcerpt(prompt.value_or(""), 600) : workSummary();
}

std::string Automation::stripTavroRunPrefix(std::string_view command) {
  constexpr std::string_view verb = " run ";
  const auto at = command.find(verb);
  return std::string(at == command.npos ? command : command.substr(at + verb.size()));
}

std::string Automation::cleanExcerpt(std::string_view text, long long maxChars) {
  std::vector<std::string> lines;
  for (const auto& raw : Text::split(text, '\n')) {
    const auto line = Text::trimBlanks(raw);
    const bool isSurplus = line.empty() && (lines.empty() || lines.back().empty());
    if (!isSurplus) lines.push_back(plain(line));
  }
  const std::string whole = Text::join(lines, "\n");
  const std::string_view excerpt = Text::trim(whole);
  const auto cut = Text::firstCharacters(excerpt, static_cast<std::size_t>(std::max(maxChars, 0LL)));
  if (cut.size() == excerpt.size()) return std::string(excerpt);
  return std::string(Text::trimBlanks(cut)) + "...";
}

std::vector<std::string> Automation::supportedClients() { return AgentClients::ids(); }
