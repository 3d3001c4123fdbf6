// The human's side of the queue: carrying out a queued action, or dropping it. An action is claimed
// before it runs, by renaming <id>.json to <id>.claimed, so that two approvals run it once. The claim is
// locked while the action runs and goes when it is done; one that lies there unlocked belongs to an
// approval that was cut off, and nobody knows whether the action ran.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "TavroCore/harness/HarnessRunner.h"
#include "TavroCore/harness/PendingStore.h"
#include "TavroCore/harness/Tools.h"

namespace Approval {

enum class State { waiting, running, interrupted };

struct Item {
  PendingAction action;
  State state = State::waiting;
};

/// Waiting, running and interrupted actions, oldest first.
std::vector<Item> list(const PendingStore& store);
std::optional<Item> get(const PendingStore& store, std::string_view id);

/// Nothing was done: no readable action of that id waits (`notThere`), another approval is at it
/// (`running`), an earlier one was cut off and `evenIfInterrupted` is false (`interrupted`), the file holds
/// another action than the one that the human saw (`changed`), or the catalogue has no such tool any more
/// (`unknownTool`).
enum class Refusal { notThere, running, interrupted, changed, unknownTool };
using Outcome = std::variant<HarnessRunner::Built, Refusal>;

using ToolLookup = std::function<const Tool*(std::string_view id)>;

/// Claims the action that was shown to the human, under its `id`, runs and audits it by HarnessRunner::executeDecided
/// with the reason "approved:<id>", and drops it from the queue. Throws FileFailure when the claim can't be made;
/// nothing has run then.
Outcome approve(const PendingStore& store, const PendingAction& shown, const std::string& actor, bool evenIfInterrupted,
                const ToolLookup& tools = Tools::find);

/// Drops the action, waiting or interrupted, without running it and audits "rejected" with the reason
/// "rejected:<id>". Throws FileFailure when the action can't be claimed.
std::optional<Refusal> reject(const PendingStore& store, std::string_view id, const std::string& actor);

}  // namespace Approval
