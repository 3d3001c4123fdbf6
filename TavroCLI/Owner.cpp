#include "TavroCLI/Owner.h"

#include <string>

#include "Platform/Environment.h"
#include "Platform/Text.h"
#include "TavroCLI/ExitStatus.h"
#include "TavroCLI/Terminal.h"

namespace Owner {

void require(std::string_view verb) {
  if (const auto loop = Environment::value("VENDRY_RUN")) {
    throw CommandError(ExitStatus::denied, std::string(verb) +
                                               " is the owner's alone, and this is a run of the automation \"" + *loop +
                                               "\"; it has to be done from a terminal of the owner's");
  }
}

void Consent::declare(CLI::App& command) {
  command.add_flag("-y,--yes", given, "Don't ask; for use without a terminal");
}

void Consent::require(std::string_view verb) const {
  Owner::require(verb);
  if (!given && !Terminal::canAsk()) {
    throw CommandError(
        ExitStatus::wrongUsage,
        std::string(verb) + " asks before it acts, and there is no terminal to ask on; --yes says yes beforehand");
  }
}

bool Consent::ask(std::string_view matter, std::string_view question) const {
  if (!given) return Terminal::ask(matter, question);
  const std::string_view shown = matter.ends_with('\n') ? matter.substr(0, matter.size() - 1) : matter;
  if (!shown.empty()) Terminal::say(shown);
  return true;
}

}  // namespace Owner
