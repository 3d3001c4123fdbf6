// mail.archive stands apart from the other tools that change mail: its service moves by the tool mail.move.
#include "TavroCore/mail/MailArchiveService.h"
#include "TavroCore/mail/MailCriteria.h"
#include "TavroCore/mail/MailToolParts.h"
#include "TavroCore/mail/MailTools.h"

namespace {

Script checkArchive(const Arguments& args) {
  requiredArgument(args, "account");
  MailCriteria::requireFilter(args);
  MailCriteria::criteriaArgv(args);
  refuseTooLong(args);  // it moves by script where there is no IMAP
  return {};
}

/// Checks again: an approved action runs without `build`, and without a filter the whole inbox would go.
std::string archiveChecked(const Arguments& args) {
  checkArchive(args);
  return MailArchiveService::archive(args);
}

std::optional<std::string> archivePreview(const Arguments& args) {
  const std::string destination = MailArchiveService::destinationLabel(argument(args, "account"));
  return MailCriteria::impact(args, "INBOX", " → " + destination);
}

}  // namespace

Tool MailTools::archive() {
  return {
      .id = "mail.archive",
      .summary = "Archive matching messages out of a mailbox (account, [mailbox=INBOX], ≥1 of: " +
                 std::string(MailCriteria::filters) +
                 "). Gmail removes \\Inbox over IMAP (transparent); other accounts move to \"Archive\". Approval.",
      .effect = Effect::destructive,
      .build = checkArchive,
      .nativeRun = archiveChecked,
      .preview = archivePreview,
  };
}
