#include "TavroCore/mail/DesktopTools.h"

#include "Platform/Text.h"
#include "TavroCore/mail/MailScripts.h"

namespace {

/// The applications that tools may leave open behind them, and so may close.
const std::vector<std::string> quittableApps = {"Mail", "Contacts", "Calendar", "Notes", "Messages", "Reminders"};

Script quitScript(const Arguments& args) {
  const auto& name = requiredArgument(args, "name");
  for (const auto& app : quittableApps)
    if (Text::equalIgnoringCase(app, name)) return {MailScripts::appQuitScript, {app}};
  throw ToolError::badArg("app.quit name must be one of: " + Text::join(quittableApps, ", ") + " - got \"" + name +
                          "\"");
}

}  // namespace

std::vector<Tool> DesktopTools::all() {
  return {
      {
          .id = "finder.reveal",
          .summary =
              "Reveal a file/folder in Finder and bring it forward (path = POSIX path). Read-only (no file change).",
          .effect = Effect::read,
          .build =
              [](const Arguments& args) {
                return Script{MailScripts::finderRevealScript, {requiredArgument(args, "path")}};
              },
      },
      {
          .id = "app.quit",
          .summary =
              "Quit one of the harness apps when it's no longer needed (name = Mail | Contacts | Calendar | Notes | "
              "Messages | Reminders, case-insensitive). Graceful quit - the app saves / prompts on unsaved work; no-op "
              "if it isn't running. Reversible (it relaunches on next use). Use to leave no app open after a batch, "
              "e.g. quit Mail after triage.",
          .effect = Effect::create,
          .build = quitScript,
      },
  };
}
