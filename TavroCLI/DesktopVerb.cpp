#include "TavroCLI/DesktopVerb.h"

#include <memory>

#include "Platform/Desktop.h"
#include "TavroCLI/Owner.h"
#include "TavroCLI/Terminal.h"

namespace DesktopVerb {

Work init(CLI::App& command) {
  auto sample = std::make_shared<bool>(false);
  command.add_flag("--sample", *sample,
                   "Also put some mail, events, reminders, notes and contacts into stores that are empty");
  return [sample] {
    Owner::require("desktop init");
    const auto made = Desktop::initialize(*sample);
    for (const auto& line : made) Terminal::printForeign(line);
    if (made.empty()) Terminal::say("nothing to do: the desktop at " + Desktop::root().string() + " is all there");
    return ExitStatus::done;
  };
}

}  // namespace DesktopVerb
