#include "Platform/linux/terminal/ProcessTree.h"

#include <fmt/format.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>

#include "Platform/Files.h"
#include "Platform/Text.h"

namespace ProcessTree {

namespace {

struct Entry {
  std::string name;
  pid_t parent = 0;
  pid_t group = 0;
  pid_t session = 0;
  pid_t foreground = 0;  // the group that the terminal is lent to
  unsigned long long start = 0;
};

std::optional<Entry> entry(pid_t process) {
  std::ifstream file(fmt::format("/proc/{}/stat", process));
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  const auto open = text.find('('), close = text.rfind(')');  // around the name, which may hold anything
  if (open == std::string::npos || close == std::string::npos) return std::nullopt;
  std::istringstream fields(text.substr(close + 1));
  Entry found{.name = Text::repairUTF8(text.substr(open + 1, close - open - 1))};
  std::string state, skipped;
  int terminal = 0;
  fields >> state >> found.parent >> found.group >> found.session >> terminal >> found.foreground;
  constexpr int betweenForegroundAndStart = 13;
  for (int i = 0; i < betweenForegroundAndStart; ++i) fields >> skipped;
  fields >> found.start;
  return fields && state != "Z" ? std::optional(std::move(found)) : std::nullopt;
}

}  // namespace

std::vector<pid_t> ancestors(pid_t process) {
  std::vector<pid_t> found;
  for (auto each = entry(process); each && each->parent > 1; each = entry(each->parent)) found.push_back(each->parent);
  return found;
}

std::vector<std::string> session(pid_t leader) {
  std::vector<Entry> members;
  for (const auto& name : Files::listIfPossible("/proc")) {
    const auto process = Text::parseInteger(name);
    if (!process) continue;
    auto found = entry(static_cast<pid_t>(*process));
    if (found && found->session == leader) members.push_back(std::move(*found));
  }
  std::ranges::stable_sort(members, {}, &Entry::start);
  std::vector<std::string> names;
  for (auto& member : members) names.push_back(std::move(member.name));
  return names;
}

std::string foreground(pid_t leader) {
  const auto shell = entry(leader);
  if (!shell) return "";
  const auto running = entry(shell->foreground);
  return running ? running->name : shell->name;
}

}  // namespace ProcessTree
