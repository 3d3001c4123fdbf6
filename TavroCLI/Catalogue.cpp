#include "TavroCLI/Catalogue.h"

#include <cctype>

#include "TavroCLI/Usage.h"
#include "TavroCore/harness/Tools.h"

namespace Catalogue {

std::vector<std::string> ids() {
  std::vector<std::string> result;
  for (const auto& tool : Tools::all()) result.push_back(tool.id);
  return result;
}

const Tool& get(const std::string& id) {
  if (const Tool* tool = Tools::find(id)) return *tool;
  Usage::unknown("tool", id, ids(), "`tavro tools` lists them");
}

bool mayTake(const Tool& tool, const std::string& argument) {
  if (tool.summary.find("same args") != std::string::npos) return true;  // as another's
  const auto isPartOfWord = [](char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_'; };
  for (std::size_t at = 0; (at = tool.summary.find(argument, at)) != std::string::npos; ++at) {
    const std::size_t end = at + argument.size();
    const bool begins = at == 0 || !isPartOfWord(tool.summary[at - 1]);
    if (begins && (end == tool.summary.size() || !isPartOfWord(tool.summary[end]))) return true;
  }
  return false;
}

}  // namespace Catalogue
