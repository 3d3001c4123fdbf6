#include "TavroCore/mail/MailToolParts.h"

#include <fmt/format.h>

#include "Platform/Process.h"
#include "Platform/Text.h"
#include "TavroCore/mail/MailCriteria.h"

namespace {

/// A script's arguments are a process's, and the system's words for one that is too long wouldn't say which it is.
void refuseTooLong(const Arguments& args) {
  for (const auto& [key, value] : args) {
    if (value.size() <= Process::longestArgument) continue;
    throw ToolError::badArg(fmt::format(
        "{} is {} bytes long, and at most {} fit{}", key, value.size(), Process::longestArgument,
        key == "body" ? "; send a long text as a file, with attachments of mail.draft, mail.send or mail.notify" : ""));
  }
}

}  // namespace

namespace MailTools {

Script onMailbox(const char* script, const Arguments& args) {
  requiredArgument(args, "account");
  requiredArgument(args, "mailbox");
  return {script, MailCriteria::criteriaCall(args, "")};
}

Script onMatches(const char* script, const Arguments& args) {
  MailCriteria::reqFilter(args);
  return onMailbox(script, args);
}

Script onNewestMatch(const char* script, const Arguments& args) {
  MailCriteria::reqSubjectSelector(args);
  const auto& account = requiredArgument(args, "account");
  const auto& mailbox = requiredArgument(args, "mailbox");
  return {script,
          {account, mailbox, argument(args, "subject"), argument(args, "subjectContains"), argument(args, "from")}};
}

const std::string& validatedNotifyBody(const Arguments& args) {
  const auto& body = argument(args, "body");
  if (Text::trim(body).empty())
    throw ToolError::badArg("body is empty - refusing to send a blank notification (use body-file= for large content)");
  return body;
}

Tool withinArgumentLength(Tool tool) {
  tool.build = [build = std::move(tool.build)](const Arguments& args) {
    Script script = build(args);
    refuseTooLong(args);
    return script;
  };
  return tool;
}

std::vector<Tool> withinArgumentLength(std::vector<Tool> tools) {
  for (Tool& tool : tools) tool = withinArgumentLength(std::move(tool));
  return tools;
}

}  // namespace MailTools
