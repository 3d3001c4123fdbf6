// What the mail tools have in common: how a call becomes a script with its positional arguments. The order of the
// checks is the order in which the functions name them.
#pragma once

#include "TavroCore/harness/Tool.h"

namespace MailTools {

/// Requires account and mailbox. Gives them and the eleven filters.
Script onMailbox(const char* script, const Arguments& args);
/// Requires a filter, then as `onMailbox`.
Script onMatches(const char* script, const Arguments& args);
/// Requires subject or subjectContains, account and mailbox. Gives account, mailbox, subject, subjectContains, from.
Script onNewestMatch(const char* script, const Arguments& args);

}  // namespace MailTools
