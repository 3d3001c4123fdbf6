#include "TavroCore/mail/MailToolParts.h"

#include "Platform/Text.h"
#include "TavroCore/mail/MailCriteria.h"

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

}  // namespace MailTools
