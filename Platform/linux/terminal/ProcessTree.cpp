#include "Platform/linux/terminal/ProcessTree.h"

#include <algorithm>

#include "Platform/linux/Proc.h"

std::vector<pid_t> ProcessTree::ancestors(pid_t process) {
  std::vector<pid_t> found;
  for (auto each = Proc::entry(process); each && each->parent > 1; each = Proc::entry(each->parent))
    found.push_back(each->parent);
  return found;
}

std::vector<std::string> ProcessTree::session(pid_t leader) {
  auto members = Proc::all();
  std::erase_if(members, [leader](const auto& entry) { return entry.session != leader || entry.isDead(); });
  std::ranges::stable_sort(members, {}, &Proc::Entry::start);
  std::vector<std::string> names;
  for (auto& member : members) names.push_back(std::move(member.name));
  return names;
}

std::string ProcessTree::foreground(pid_t leader) {
  const auto shell = Proc::entry(leader);
  if (!shell || shell->isDead()) return "";
  const auto running = Proc::entry(shell->foreground);
  return running && !running->isDead() ? running->name : shell->name;
}
