#include "TavroCore/mail/MailToolParts.h"

#include "TavroCore/mail/MailCriteria.h"

namespace MailTools {

Script onMailbox(const char* script, const Arguments& args) {
  requiredArgument(args, "account");
  requiredArgument(args, "mailbox");
  return {script, MailCriteria::criteriaCall(args, "")};
}

Script onMatches(const char* script, const Arguments& args) {
  MailCriteria::requireFilter(args);
  return onMailbox(script, args);
}

Script onNewestMatch(const char* script, const Arguments& args) {
  MailCriteria::requireSubjectSelector(args);
  const auto& account = requiredArgument(args, "account");
  const auto& mailbox = requiredArgument(args, "mailbox");
  return {script,
          {account, mailbox, argument(args, "subject"), argument(args, "subjectContains"), argument(args, "from")}};
}

}  // namespace MailTools
