#include "Platform/linux/Proc.h"

#include <fmt/format.h>

#include <fstream>
#include <iterator>
#include <sstream>

#include "Platform/Files.h"
#include "Platform/Text.h"

namespace Proc {

std::optional<Entry> entry(pid_t process) {
  std::ifstream file(fmt::format("/proc/{}/stat", process));
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  const auto open = text.find('('), close = text.rfind(')');  // around the name, which may hold anything, ") Z" too
  if (open == std::string::npos || close == std::string::npos) return std::nullopt;
  std::istringstream fields(text.substr(close + 1));
  Entry found{.process = process, .name = Text::repairUTF8(text.substr(open + 1, close - open - 1))};
  std::string skipped;
  int terminal = 0;
  fields >> found.state >> found.parent >> found.group >> found.session >> terminal >> found.foreground;
  constexpr int betweenForegroundAndStart = 13;
  for (int i = 0; i < betweenForegroundAndStart; ++i) fields >> skipped;
  fields >> found.start;
  return fields ? std::optional(std::move(found)) : std::nullopt;
}

std::vector<Entry> all() {
  std::vector<Entry> entries;
  for (const auto& name : Files::listIfPossible("/proc")) {
    const auto process = Text::parseInteger(name);
    auto found = process ? entry(static_cast<pid_t>(*process)) : std::nullopt;
    if (found) entries.push_back(std::move(*found));
  }
  return entries;
}

std::string bootId() {
  std::string id;
  std::ifstream("/proc/sys/kernel/random/boot_id") >> id;
  return id;
}

}  // namespace Proc
