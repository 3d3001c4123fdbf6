// What the audit knows of queued actions. The queue itself keeps neither who asked for one nor why it waits.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "TavroCore/harness/AuditLog.h"
#include "TavroCore/harness/PendingStore.h"

namespace QueueAudit {

/// The lines that the queueing of this action may have left, newest first: usually one, several when the same action
/// was queued several times within a minute. Throws DatabaseError.
std::vector<AuditEntry> queueing(const PendingAction& action);

/// Who asked for it: "mcp", or "mcp or vendry:news" where that can't be told apart; "unknown" without a line. A
/// database that can't be read is told on standard error.
std::string asker(const PendingAction& action);

/// The line that approving or rejecting the action of this id, or of an id that begins so, left: its newest one.
std::optional<AuditEntry> end(const std::string& id);
/// The newest line of a queueing that such an end may belong to.
std::optional<AuditEntry> queueingBefore(const AuditEntry& end);

}  // namespace QueueAudit
