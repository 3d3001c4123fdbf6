// The human's side of the queue: carrying out a queued action, or dropping it. An action is claimed
// before it runs, by renaming <id>.json to <id>.claimed, so that two approvals run it once. The claim is
// locked while the action runs and goes when it is done; one that lies there unlocked belongs to an
// approval that was cut off, and nobody knows whether the action ran.
#pragma once

#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "TavroCore/harness/HarnessRunner.h"
#include "TavroCore/harness/PendingStore.h"

namespace Approval {

enum class State { waiting, running, interrupted };

struct Item {
  PendingAction action;
  State state = State::waiting;
};

/// Waiting, running and interrupted actions, oldest first.
std::vector<Item> list(const PendingStore& store);
std::optional<Item> get(const PendingStore& store, std::string_view id);

/// Nothing to do: no action of that id waits (`notThere`), another approval is at it (`running`), or an
/// earlier one was cut off and `evenIfInterrupted` is false (`interrupted`).
enum class Refusal { notThere, running, interrupted, unknownTool };
using Outcome = std::variant<HarnessRunner::Built, Refusal>;

/// Claims the action, runs it without the gate, audits "executed" or "error" with `actor` and the
/// reason "approved:<id>", and drops it from the queue. Throws FileFailure when the claim can't be made.
Outcome approve(const PendingStore& store, std::string_view id, const std::string& actor, bool evenIfInterrupted);

/// Drops the action without running it and audits "rejected" with the reason "rejected:<id>".
std::optional<Refusal> reject(const PendingStore& store, std::string_view id, const std::string& actor);

}  // namespace Approval
