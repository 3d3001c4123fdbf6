#include <algorithm>

#include "Platform/Text.h"
#include "TavroCore/mail/MailArchiveService.h"
#include "TavroCore/mail/MailCriteria.h"
#include "TavroCore/mail/MailScripts.h"
#include "TavroCore/mail/MailToolParts.h"
#include "TavroCore/mail/MailTools.h"

namespace {

const std::string filters(MailCriteria::filters);
constexpr const char* arrow = " → ";

/// Only "false" says no.
bool isOn(const Arguments& args, const char* key) { return Text::lowercase(argument(args, key)) != "false"; }

std::string switchArgument(const Arguments& args, const char* key) { return isOn(args, key) ? "1" : "0"; }

Script moveScript(const Arguments& args) {
  const auto& destination = requiredArgument(args, "dest");
  Script script = MailTools::onMatches(MailScripts::moveScript, args);
  script.argv.push_back(destination);
  return script;
}

std::optional<std::string> movePreview(const Arguments& args) {
  const std::string destination = args.contains("dest") ? argument(args, "dest") : "?";
  return MailCriteria::impact(args, "", arrow + destination);
}

Script flagScript(const Arguments& args) {
  Script script = MailTools::onMatches(MailScripts::flagScript, args);
  script.argv.push_back(switchArgument(args, "flag"));
  script.argv.push_back(MailCriteria::flagColorIndex(argument(args, "color")));
  return script;
}

std::optional<std::string> flagPreview(const Arguments& args) {
  std::string suffix = arrow + std::string(isOn(args, "flag") ? "flag" : "unflag");
  const auto& color = argument(args, "color");
  if (!MailCriteria::flagColorIndex(color).empty()) suffix += " " + Text::lowercase(color);
  return MailCriteria::impact(args, "", suffix);
}

Script junkScript(const Arguments& args) {
  Script script = MailTools::onMatches(MailScripts::junkScript, args);
  script.argv.push_back(switchArgument(args, "junk"));
  return script;
}

std::optional<std::string> junkPreview(const Arguments& args) {
  return MailCriteria::impact(args, "", arrow + std::string(isOn(args, "junk") ? "junk" : "not junk"));
}

Script checkArchive(const Arguments& args) {
  requiredArgument(args, "account");
  MailCriteria::reqFilter(args);
  MailCriteria::criteriaArgv(args);
  return {};
}

/// Checks again: an approved action runs without `build`, and without a filter the whole inbox would go.
std::string archive(const Arguments& args) {
  checkArchive(args);
  return MailArchiveService::archive(args);
}

std::optional<std::string> archivePreview(const Arguments& args) {
  const std::string destination = MailArchiveService::destinationLabel(argument(args, "account"));
  return MailCriteria::impact(args, "INBOX", arrow + destination);
}

}  // namespace

std::vector<Tool> MailTools::changing() {
  return withinArgumentLength({
      {
          .id = "mail.delete",
          .summary = "Move messages to Trash by criteria (account, mailbox, ≥1 of: " + filters + "). Approval.",
          .effect = Effect::destructive,
          .build = [](const Arguments& args) { return onMatches(MailScripts::deleteScript, args); },
          .preview = [](const Arguments& args) { return MailCriteria::impact(args, "", ""); },
      },
      {
          .id = "mail.move",
          .summary = "Move matching messages to another folder (account, mailbox, dest, ≥1 of: " + filters +
                     "). Reversible; Approval.",
          .effect = Effect::destructive,
          .build = moveScript,
          .preview = movePreview,
      },
      {
          .id = "mail.archive",
          .summary = "Archive matching messages out of a mailbox (account, [mailbox=INBOX], ≥1 of: " + filters +
                     "). Gmail removes \\Inbox over IMAP (transparent); other accounts move to \"Archive\". Approval.",
          .effect = Effect::destructive,
          .build = checkArchive,
          .nativeRun = archive,
          .preview = archivePreview,
      },
      {
          .id = "mail.flag",
          .summary = "Flag (or unflag) matching messages (account, mailbox, ≥1 of: " + filters +
                     ", [flag=true|false], [color=red|orange|yellow|green|blue|purple|gray]). Reversible; Approval.",
          .effect = Effect::destructive,
          .build = flagScript,
          .preview = flagPreview,
      },
      {
          .id = "mail.junk",
          .summary = "Mark (or unmark) matching messages as junk/spam (account, mailbox, ≥1 of: " + filters +
                     ", [junk=true|false]). Reversible; Approval.",
          .effect = Effect::destructive,
          .build = junkScript,
          .preview = junkPreview,
      },
  });
}

Tool MailTools::move() {
  const auto tools = changing();
  return *std::ranges::find(tools, "mail.move", &Tool::id);
}
