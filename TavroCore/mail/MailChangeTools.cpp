#include "Platform/Text.h"
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

}  // namespace

Tool MailTools::discard() {
  return {
      .id = "mail.delete",
      .summary = "Move messages to Trash by criteria (account, mailbox, ≥1 of: " + filters + "). Approval.",
      .effect = Effect::destructive,
      .build = [](const Arguments& args) { return onMatches(MailScripts::deleteScript, args); },
      .preview = [](const Arguments& args) { return MailCriteria::impact(args, "", ""); },
  };
}

Tool MailTools::move() {
  return {
      .id = "mail.move",
      .summary = "Move matching messages to another folder (account, mailbox, dest, ≥1 of: " + filters +
                 "). Reversible; Approval.",
      .effect = Effect::destructive,
      .build = moveScript,
      .preview = movePreview,
  };
}

Tool MailTools::flag() {
  return {
      .id = "mail.flag",
      .summary = "Flag (or unflag) matching messages (account, mailbox, ≥1 of: " + filters +
                 ", [flag=true|false], [color=red|orange|yellow|green|blue|purple|gray]). Reversible; Approval.",
      .effect = Effect::destructive,
      .build = flagScript,
      .preview = flagPreview,
  };
}

Tool MailTools::junk() {
  return {
      .id = "mail.junk",
      .summary = "Mark (or unmark) matching messages as junk/spam (account, mailbox, ≥1 of: " + filters +
                 ", [junk=true|false]). Reversible; Approval.",
      .effect = Effect::destructive,
      .build = junkScript,
      .preview = junkPreview,
  };
}

std::vector<Tool> MailTools::changing() { return {discard(), move(), archive(), flag(), junk()}; }
