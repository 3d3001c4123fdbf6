#include "TavroCLI/ToolsVerb.h"

#include <memory>

#include "Platform/Json.h"
#include "TavroCLI/Catalogue.h"
#include "TavroCLI/Display.h"
#include "TavroCLI/Terminal.h"
#include "TavroCore/harness/Tools.h"

namespace {

OrderedJson record(const Tool& tool) {
  return {{"id", tool.id}, {"effect", rawValue(tool.effect)}, {"summary", tool.summary}};
}

Terminal::Style style(Effect effect) {
  switch (effect) {
    case Effect::read:
      return Terminal::Style::green;
    case Effect::create:
      return Terminal::Style::yellow;
    case Effect::destructive:
      break;
  }
  return Terminal::Style::red;
}

struct Listing {
  std::string id;
  bool json = false;

  ExitStatus one() const {
    const Tool& tool = Catalogue::get(id);
    if (json) {
      Display::show(record(tool));
    } else {
      Terminal::print(Terminal::styled(tool.id, Terminal::Style::bold) + "  " +
                      Terminal::styled(rawValue(tool.effect), style(tool.effect)) + "\n" + tool.summary + "\n");
    }
    return ExitStatus::done;
  }

  ExitStatus all() const {
    std::vector<OrderedJson> records;
    std::vector<Display::Cells> rows;
    for (const auto& tool : Tools::all()) {
      records.push_back(record(tool));
      rows.push_back(
          {{tool.id, Terminal::Style::bold}, {std::string(rawValue(tool.effect)), style(tool.effect)}, {tool.summary}});
    }
    json ? Display::list(records) : Display::list({"TOOL", "EFFECT", "SUMMARY"}, rows);
    return ExitStatus::done;
  }
};

}  // namespace

namespace ToolsVerb {

Work tools(CLI::App& command) {
  auto listing = std::make_shared<Listing>();
  command.add_option("ID", listing->id, "Show this tool whole");
  command.add_flag("--json", listing->json, "Print JSON");
  return [listing] { return listing->id.empty() ? listing->all() : listing->one(); };
}

}  // namespace ToolsVerb
