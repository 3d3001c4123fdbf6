#include "Platform/linux/stores/SendCommand.h"

#include <fmt/format.h>

#include <algorithm>

#include "Platform/Process.h"
#include "Platform/Text.h"

namespace {

using std::string_view;

/// One line that a terminal and an agent can be shown.
std::string shown(string_view text, std::size_t most) {
  auto line = Text::repairUTF8(std::string(Text::trim(text)));
  for (char& c : line)
    if ((c >= 0 && c < ' ') || c == 127) c = ' ';
  const auto beginning = Text::firstCharacters(line, most);
  return beginning.size() == line.size() ? line : std::string(beginning) + "...";
}

/// The last lines: what went wrong is said at the end.
std::string lastWords(const std::string& output) {
  constexpr std::size_t enough = 4096;
  constexpr std::size_t mostLines = 3;
  constexpr std::size_t mostCharacters = 300;
  const auto end = string_view(output).substr(output.size() - std::min(output.size(), enough));
  std::vector<std::string> lines;
  for (const auto line : Text::lines(end))
    if (!Text::trim(line).empty()) lines.push_back(shown(line, mostCharacters));
  lines.erase(lines.begin(), lines.end() - static_cast<std::ptrdiff_t>(std::min(lines.size(), mostLines)));
  return Text::join(lines, "; ");
}

std::string ending(const Process::Status& status) {
  return status.exited ? fmt::format("ended with status {}", status.code)
                       : fmt::format("was ended by signal {}", status.signal);
}

}  // namespace

void SendCommand::send(const std::string& command, string_view message,
                       const std::map<std::string, std::string>& environment) {
  const auto result = Process::run(
      {.program = "/bin/sh", .arguments = {"-c", command}, .input = std::string(message), .environment = environment});
  if (result.status.ok()) return;
  auto words = lastWords(result.errors);
  if (words.empty()) words = lastWords(result.output);
  throw Error("the send command " + ending(result.status) + (words.empty() ? " and said nothing" : ": " + words));
}
