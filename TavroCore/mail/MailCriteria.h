// Which messages a mail tool means: eleven optional filters, checked here and handed to the scripts as positional
// arguments in one fixed order.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "TavroCore/harness/Tool.h"

namespace MailCriteria {

/// How summaries and messages name the filters.
inline constexpr std::string_view filters =
    "from / to / before=YYYY-MM-DD / after / olderThan=Ndays / minSize=MB / maxSize=MB / subject / subjectContains / "
    "status=unread|read / hasAttachment";

/// The eleven values in order, each empty when absent; sizes in bytes. Throws ToolError for a size that is infinite,
/// not a number or too large for 64 bits.
std::vector<std::string> criteriaArgv(const Arguments& args);
/// account, mailbox (or `defaultMailbox` when the key is absent) and the eleven.
std::vector<std::string> criteriaCall(const Arguments& args, const std::string& defaultMailbox);

/// Throws ToolError when all eleven are empty.
void requireFilter(const Arguments& args);
/// Throws ToolError when neither `subject` nor `subjectContains` is given.
void requireSubjectSelector(const Arguments& args);

/// The paths of `attachments`, which parts them by commas, as lines.
std::string attachmentsArg(const Arguments& args);
/// "0" to "6" for red to gray; empty for any other text.
std::string flagColorIndex(const std::string& color);

/// "<count>|<kilobytes>" as "3 message(s), 2.0 MB" and `suffix`; nothing for any other text.
std::optional<std::string> formatImpact(std::string_view raw, const std::string& suffix);
/// What an action on the messages of criteriaCall would touch: formatImpact of a count by Mail.
std::optional<std::string> impact(const Arguments& args, const std::string& defaultMailbox, const std::string& suffix);

struct MessageIDs {
  bool ok = false;
  std::vector<std::string> ids;  // without angle brackets
  std::string error;             // empty when ok
};
MessageIDs mailMatchingMessageIDs(const std::string& account, const std::string& mailbox, const Arguments& criteria);

}  // namespace MailCriteria
