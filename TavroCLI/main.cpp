// tavro, the owner's command. Every failure ends here, as one line on standard error and an exit status.
#include <csignal>
#include <cstdlib>
#include <exception>

#include "TavroCLI/Terminal.h"
#include "TavroCLI/Verbs.h"

namespace {

/// A reader that goes away (`tavro audit | head`) must not cut an approval off in the middle. A handler and not
/// SIG_IGN: child processes get the default back.
void outliveReaders() {
  std::signal(SIGPIPE, [](int) {});
}

int told(ExitStatus status, const char* text) {
  Terminal::say(std::string("tavro: ") + text);
  return static_cast<int>(status);
}

}  // namespace

int main(int count, char** arguments) {
  outliveReaders();
  try {
    return static_cast<int>(Verbs::perform({arguments + 1, arguments + count}));
  } catch (const CommandError& failure) {
    return told(failure.status(), failure.description().c_str());
  } catch (const std::exception& failure) {
    return told(ExitStatus::failed, failure.what());
  }
}
