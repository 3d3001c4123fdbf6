#include "TavroCLI/Owner.h"

#include <utility>

#include "Platform/Environment.h"
#include "TavroCLI/Terminal.h"

namespace Owner {

void require(std::string_view verb) {
  if (const auto loop = Environment::value("VENDRY_RUN")) {
    throw CommandError(ExitStatus::denied, std::string(verb) +
                                               " is the owner's alone, and this is a run of the automation \"" + *loop +
                                               "\"; it has to be done from a terminal of the owner's");
  }
}

NobodyToAsk::NobodyToAsk(const std::string& verb)
    : CommandError(ExitStatus::wrongUsage,
                   verb + " asks before it acts, and there is no terminal to ask on; --yes says yes beforehand") {}

void Consent::declare(CLI::App& command, std::string verb) {
  verb_ = std::move(verb);
  command.add_flag("-y,--yes", given, "Don't ask; for use without a terminal");
}

void Consent::requireOwner() const { Owner::require(verb_); }

void Consent::require() const {
  if (!given && !Terminal::canAsk()) throw NobodyToAsk(verb_);
}

bool Consent::ask(std::string_view matter, std::string_view question) const {
  require();
  if (!given) return Terminal::ask(matter, question);
  const std::string_view shown = matter.ends_with('\n') ? matter.substr(0, matter.size() - 1) : matter;
  if (!shown.empty()) Terminal::say(shown);
  return true;
}

}  // namespace Owner
