#include "TavroCore/feedback/AskTools.h"

#include "Platform/Text.h"
#include "TavroCore/feedback/AskChannels.h"
#include "TavroCore/feedback/AskService.h"

namespace {

AskService& service() { return AskService::shared(); }

/// What can't be read sets no expiry.
std::optional<long long> expiresHours(const Arguments& args) {
  return Text::parseInteger(argument(args, "expiresHours"));
}

// Not a constant as the others: it names the channels, and constants of two files have no order.
Tool ask() {
  return {
      .id = "ask",
      .summary =
          "Ask the OWNER a question and capture the answer (fire-and-forget). Args: text, [channel=" +
          Text::join(AskChannels::ids(), "|") + "] (default " + std::string(AskChannels::defaultId) +
          "), [automation=<loop name>] (defaults to the firing loop), [expiresHours=N]. The question is pushed via the "
          "chosen channel; the owner's reply is harvested back and injected into this loop's NEXT run - do NOT block "
          "waiting. effect=create (owner-only, low-stakes).",
      .effect = Effect::create,
      .build = requiring({"text"}),
      .nativeRun =
          [](const Arguments& args) {
            return service().ask(requiredArgument(args, "text"), nonEmptyArgument(args, "channel"),
                                 nonEmptyArgument(args, "automation"), expiresHours(args), "automation");
          },
  };
}

const Tool answer{
    .id = "ask.answer",
    .summary =
        "Answer an open question yourself (id, text) - the human channel when you're already in /tavro or the cockpit, "
        "instead of replying by mail. Writes the answer so the asking loop sees it next run.",
    .effect = Effect::create,
    .build = requiring({"id", "text"}),
    .nativeRun =
        [](const Arguments& args) {
          const std::string& id = requiredArgument(args, "id");
          return service().answer(id, requiredArgument(args, "text"))
                     ? "✅ answer recorded for #" + id
                     : "⚠️ #" + id + " unknown or already answered";
        },
};

const Tool answers{
    .id = "ask.answers",
    .summary =
        "Show the operator feedback feed: pending questions, answered questions, and standing directives "
        "([automation=<loop name>] to scope). Read-only inspection - does NOT consume; the loop's prompt is "
        "auto-injected with what it needs.",
    .effect = Effect::read,
    .build = requiring({}),
    .nativeRun = [](const Arguments& args) { return service().summary(nonEmptyArgument(args, "automation")); },
};

const Tool harvest{
    .id = "ask.harvest",
    .summary =
        "Poll the async channels (mail) for replies to open questions and record them. Idempotent. Schedule as a "
        "`tool` automation (auto.add tool=ask.harvest every=5) so answers are ingested without you in the loop. No "
        "args. (iMessage channel temporarily disabled - see AskChannel.)",
    .effect = Effect::create,
    .build = requiring({}),
    .nativeRun =
        [](const Arguments&) {
          const long long count = service().harvestAll();
          return count == 0 ? "no new replies" : "✅ " + std::to_string(count) + " reply(ies) harvested";
        },
    // A harvest every five minutes that finds nothing would bury the audit.
    .auditAutoRun = [](const std::string& output) { return output.starts_with("✅"); },
};

const Tool tell{
    .id = "feedback.tell",
    .summary =
        "Give your loops a standing DIRECTIVE (human → automations): free-form guidance re-injected every run until it "
        "expires. Args: text, [automation=<loop name>] (omit = all loops), [expiresHours=N]. e.g. text=\"stop replying "
        "to recruiters\".",
    .effect = Effect::create,
    .build = requiring({"text"}),
    .nativeRun =
        [](const Arguments& args) {
          return service().directive(requiredArgument(args, "text"), nonEmptyArgument(args, "automation"),
                                     expiresHours(args), "conversation");
        },
};

const Tool rm{
    .id = "feedback.rm",
    .summary =
        "Drop a feedback item by id (a stale directive, an obsolete question). Housekeeping; the harvester also "
        "auto-prunes expired/old items. Args: id.",
    .effect = Effect::create,
    .build = requiring({"id"}),
    .nativeRun =
        [](const Arguments& args) {
          const std::string& id = requiredArgument(args, "id");
          service().remove(id);
          return "🗑 feedback " + id + " removed";
        },
};

}  // namespace

std::vector<Tool> AskTools::all() { return {ask(), answer, answers, harvest, tell, rm}; }
