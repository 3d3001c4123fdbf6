#include "Platform/Text.h"
#include "TavroCore/harness/HarnessConfig.h"
#include "TavroCore/mail/MailCriteria.h"
#include "TavroCore/mail/MailScripts.h"
#include "TavroCore/mail/MailToolParts.h"
#include "TavroCore/mail/MailTools.h"

namespace {

Script newMessage(const char* script, const Arguments& args) {
  const auto& to = requiredArgument(args, "to");
  const auto& subject = requiredArgument(args, "subject");
  return {script, {to, subject, argument(args, "body"), MailCriteria::attachmentsArg(args), argument(args, "from")}};
}

/// Of a blank one nobody would notice that nothing came.
const std::string& validatedNotifyBody(const Arguments& args) {
  const auto& body = argument(args, "body");
  if (Text::trim(body).empty())
    throw ToolError::badArg("body is empty - refusing to send a blank notification (use body-file= for large content)");
  return body;
}

/// To the owner and from the owner, whatever else the call names.
Script notifyScript(const Arguments& args) {
  const std::string owner(Text::trim(HarnessConfig::load().notifyEmail));
  if (owner.empty()) throw ToolError::missingArg("notify email (set it in Settings → Notifications)");
  const auto& body = validatedNotifyBody(args);
  const auto& subject = requiredArgument(args, "subject");
  return {MailScripts::notifyScript, {subject, owner, body, owner, MailCriteria::attachmentsArg(args)}};
}

Script replyScript(const Arguments& args, const char* toAll) {
  Script script = MailTools::onNewestMatch(MailScripts::replyScript, args);
  script.argv.push_back(requiredArgument(args, "body"));
  script.argv.emplace_back(toAll);
  return script;
}

Script forwardScript(const Arguments& args) {
  Script script = MailTools::onNewestMatch(MailScripts::forwardScript, args);
  script.argv.push_back(requiredArgument(args, "to"));
  script.argv.push_back(argument(args, "body"));
  return script;
}

}  // namespace

Tool MailTools::draft() {
  return {
      .id = "mail.draft",
      .summary =
          "Create a draft (to, subject, body, [attachments=comma-separated POSIX paths], [from=sender email "
          "of one of your accounts]).",
      .effect = Effect::create,
      .build = [](const Arguments& args) { return newMessage(MailScripts::draftScript, args); },
  };
}

Tool MailTools::send() {
  return {
      .id = "mail.send",
      .summary =
          "Send an email (to, subject, body, [attachments=comma-separated POSIX paths], [from=sender email "
          "of one of your accounts]). Irreversible -> approval.",
      .effect = Effect::destructive,
      .build = [](const Arguments& args) { return newMessage(MailScripts::sendScript, args); },
  };
}

Tool MailTools::notify() {
  return {
      .id = "mail.notify",
      .summary =
          "Notify the OWNER: send an email to the configured owner address (Settings → notify email), from their "
          "Gmail account. Args: subject, body (non-empty - errors on a blank/whitespace body instead of silently "
          "sending nothing). effect=create → runs immediately in Copilote/YOLO (NO approval queue) because it can "
          "ONLY reach the owner's own target - low-stakes. For autonomous agents to push you a daily digest or an "
          "alert. Errors if no owner email is configured. The recipient comes from config; any `to=` is ignored.",
      .effect = Effect::create,
      .build = notifyScript,
  };
}

std::vector<Tool> MailTools::composing() { return {draft(), send(), notify()}; }

Tool MailTools::reply() {
  return {
      .id = "mail.reply",
      .summary =
          "Reply to the newest matching message - threaded + quoted (account, mailbox, subject= exact OR "
          "subjectContains, [from], body). On a recurring subject use exact subject= to pin one message. "
          "Irreversible -> approval.",
      .effect = Effect::destructive,
      .build = [](const Arguments& args) { return replyScript(args, "0"); },
  };
}

Tool MailTools::replyAll() {
  return {
      .id = "mail.replyAll",
      .summary =
          "Reply-all to the newest matching message - threaded + quoted (same args as mail.reply). "
          "Irreversible -> approval.",
      .effect = Effect::destructive,
      .build = [](const Arguments& args) { return replyScript(args, "1"); },
  };
}

Tool MailTools::forward() {
  return {
      .id = "mail.forward",
      .summary =
          "Forward the newest matching message to a new recipient (account, mailbox, subject= exact OR "
          "subjectContains, [from], to, [body]). On a recurring subject use exact subject= to pin one "
          "message. Irreversible -> approval.",
      .effect = Effect::destructive,
      .build = forwardScript,
  };
}

std::vector<Tool> MailTools::answering() { return {reply(), replyAll(), forward()}; }
