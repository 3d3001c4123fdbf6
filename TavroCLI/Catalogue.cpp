#include "TavroCLI/Catalogue.h"

#include "TavroCLI/ExitStatus.h"
#include "TavroCLI/Nearest.h"
#include "TavroCore/harness/Tools.h"

namespace Catalogue {

std::vector<std::string> ids() {
  std::vector<std::string> result;
  for (const auto& tool : Tools::all()) result.push_back(tool.id);
  return result;
}

const Tool& get(const std::string& id) {
  if (const Tool* tool = Tools::find(id)) return *tool;
  throw CommandError(ExitStatus::wrongUsage, "unknown tool: " + id + Nearest::hint(id, ids()));
}

}  // namespace Catalogue
