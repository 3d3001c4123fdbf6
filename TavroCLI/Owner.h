// What is the owner's alone: letting an action run, dropping one, and changing what the gate lets through. An
// automation's run can't do these at all, and everybody else is asked, on a terminal where a person sits.
#pragma once

#include <CLI/App.hpp>
#include <string>
#include <string_view>

#include "TavroCLI/ExitStatus.h"

namespace Owner {

/// The actor under which the audit knows the owner.
inline constexpr const char* actor = "owner";

/// Throws CommandError, denied, inside an automation's run. For verbs whose words are consent enough.
void require(std::string_view verb);

class NobodyToAsk : public CommandError {
 public:
  explicit NobodyToAsk(const std::string& verb);  // wrongUsage
};

/// Consent for one command: `--yes`, or an answer on the terminal for each matter. A verb calls `requireOwner` before
/// it looks at anything, and asks when all its arguments are known to be right.
struct Consent {
  bool given = false;  // --yes

  void declare(CLI::App& command, std::string verb);
  /// Owner::require.
  void requireOwner() const;
  /// Throws NobodyToAsk without `--yes` where nobody can be asked. `ask` does so too; this is for before something that
  /// takes long.
  void require() const;
  /// Shows `matter` (lines, may be empty) and asks, or just tells of it when consent is given. False for a no.
  bool ask(std::string_view matter, std::string_view question) const;

 private:
  std::string verb_ = {};
};

}  // namespace Owner
