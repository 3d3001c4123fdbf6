// The tools for mail, in the catalogue's order. The notification by message stands between `composing` and
// `answering`.
#pragma once

#include <vector>

#include "TavroCore/harness/Tool.h"

namespace MailTools {

std::vector<Tool> reading();    // mail.accounts, headers, audit, search, body, open, messageId
std::vector<Tool> composing();  // mail.draft, send, notify
std::vector<Tool> answering();  // mail.reply, replyAll, forward
std::vector<Tool> changing();   // mail.delete, move, archive, flag, junk

Tool move();  // mail.move alone: how accounts without IMAP archive

}  // namespace MailTools
