#include "TavroCLI/AccessVerbs.h"

#include <algorithm>
#include <memory>

#include "Platform/DesktopAccess.h"
#include "Platform/Error.h"
#include "TavroCLI/Owner.h"
#include "TavroCLI/Terminal.h"
#include "TavroCLI/Usage.h"
#include "TavroCore/harness/ConfigDir.h"
#include "TavroCore/personal/PermissionBootstrap.h"

namespace {

// ---- What is granted.

Work listing(CLI::App& command, ExitStatus (*list)(bool json)) {
  auto json = std::make_shared<bool>(false);
  command.add_flag("--json", *json, "Print JSON");
  return [json, list] { return list(*json); };
}

ExitStatus print(const std::vector<PermissionBootstrap::ScopeResult>& results, bool json) {
  using namespace PermissionBootstrap;
  Terminal::print((json ? renderJSON(results) : renderText(results)) + "\n");
  return ExitStatus::done;
}

// ---- The desktop's settings.

struct Setting {
  std::string subject, state, answer;
  Owner::Consent consent;

  std::optional<bool> recordedAnswer() const {
    if (answer.empty()) return std::nullopt;
    return answer == "give";
  }

  /// As `access status` calls it: "calendar" are events, "Calendar" is an application.
  std::string label() const {
    return subject == "calendar" ? "Calendar (events)" : subject == "reminders" ? "Reminders" : subject + " (control)";
  }

  static void check(std::string_view what, const std::string& word, const std::vector<std::string>& known) {
    if (std::find(known.begin(), known.end(), word) != known.end()) return;
    Usage::unknown(what, word, known);
  }

  void check() const {
    const auto subjects = DesktopAccess::subjects();
    if (subjects.empty()) throw Error("what programs may use is set in the system's own settings");
    check("subject", subject, subjects);
    check("access to " + label(), state, DesktopAccess::states(subject));
    if (!answer.empty()) check("answer", answer, {"give", "refuse"});
  }

  bool isConfirmed() const {
    if (!DesktopAccess::widens(subject, state, recordedAnswer())) return true;
    const std::string then = answer.empty() ? state : state + ", and the owner will " + answer + " consent";
    return consent.ask(label() + "\nnow  " + DesktopAccess::state(subject) + "\nthen " + then + "\n", "Change it?");
  }

  ExitStatus apply() const {
    consent.requireOwner();
    check();
    if (!isConfirmed()) {
      Terminal::say(label() + " stays as it is");
      return ExitStatus::failed;
    }
    DesktopAccess::set(subject, state, recordedAnswer());
    const bool isDecided = state == "full-access" || state == "denied";
    PermissionBootstrap::remember(subject, isDecided ? std::optional(state == "full-access") : std::nullopt);
    Terminal::say(label() + ": " + DesktopAccess::state(subject));
    if (state == "denied" && (subject == "calendar" || subject == "reminders")) {
      const char* application = subject == "calendar" ? "Calendar" : "Reminders";
      if (DesktopAccess::state(application) != "denied")
        Terminal::say(std::string("scripts still control the application: tavro access set ") + application +
                      " denied");
    }
    return ExitStatus::done;
  }
};

}  // namespace

namespace AccessVerbs {

Work status(CLI::App& command) {
  return listing(command, [](bool json) { return print(PermissionBootstrap::status(), json); });
}

Work setup(CLI::App& command) {
  return listing(command, [](bool json) {
    Owner::require("access setup");
    ConfigDir::ensure();
    return print(PermissionBootstrap::probe(), json);
  });
}

Work set(CLI::App& command) {
  auto setting = std::make_shared<Setting>();
  command.add_option("SUBJECT", setting->subject, "calendar (events), reminders, or an application by its name: Mail")
      ->required();
  command
      .add_option("STATE", setting->state,
                  "full-access, write-only (calendar), denied, restricted (calendar, reminders) or not-determined")
      ->required();
  command.add_option("--consent", setting->answer,
                     "What the owner answers when a program asks: give or refuse; kept, and the access from then on");
  setting->consent.declare(command, "access set");
  return [setting] { return setting->apply(); };
}

}  // namespace AccessVerbs
