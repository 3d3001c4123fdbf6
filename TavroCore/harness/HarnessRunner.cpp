#include "TavroCore/harness/HarnessRunner.h"

#include <algorithm>

#include "Platform/Text.h"
#include "Platform/Uuid.h"
#include "TavroCore/harness/AuditLog.h"
#include "TavroCore/harness/HarnessConfig.h"
#include "TavroCore/harness/PendingStore.h"
#include "TavroCore/harness/RuleStore.h"
#include "TavroCore/harness/Timestamps.h"
#include "TavroCore/scripting/OSAScript.h"

namespace HarnessRunner {

namespace {

constexpr std::size_t auditedCharacters = 500;

/// The text of the exception that is being handled.
std::string currentFailure() {
  try {
    throw;
  } catch (const Error& error) {
    return error.description();  // whole, where what() would end at a NUL
  } catch (const std::exception& exception) {
    return exception.what();
  } catch (...) {
    return "unknown failure";
  }
}

struct Call {
  const Tool& tool;
  const Arguments& args;
  const std::string& actor;
};

void audit(const Call& call, const Arguments& details, const std::string& outcome, const std::string& reason) {
  AuditLog::shared().log(call.actor, call.tool.id, std::nullopt, details, outcome, reason);
}

Arguments with(Arguments details, const char* key, std::string value) {
  details[key] = std::move(value);
  return details;
}

/// The count of today's mutations walks all of today's audit lines, and only an action that an allow
/// rule lets through depends on it. So decide as on a fresh day first, and count for those alone.
ActionPolicy::Outcome decision(const Tool& tool, const Arguments& args, const HarnessConfig& config) {
  const auto rules = RuleStore::shared().all();
  const auto evaluate = [&](long long mutationsToday, long long dailyCap) {
    return ActionPolicy::evaluate(tool.id, tool.effect, args, config.autonomyMode, *rules, mutationsToday, dailyCap);
  };
  const auto uncapped = evaluate(0, 1);
  const bool allowedByRule = uncapped.decision == ActionPolicy::Decision::automatic && uncapped.ruleID;
  return allowedByRule ? evaluate(AuditLog::shared().mutationsToday(), config.dailyMutationCap) : uncapped;
}

bool leavesAuditLine(const Tool& tool, const std::string& output) try {
  return !tool.auditAutoRun || tool.auditAutoRun(output);
} catch (...) {
  return true;  // the tool has run, and that must show
}

Result runNow(const Call& call, const std::string& reason) {
  Built built = executeBuilt(call.tool, call.args);
  if (!built.ok) {
    audit(call, call.args, "error", built.error);
    return Failed{std::move(built.error)};
  }
  if (leavesAuditLine(call.tool, built.output)) {
    audit(call, with(call.args, "result", auditPreview(built.output, auditedCharacters)), "executed", reason);
  }
  return Executed{std::move(built.output)};
}

std::string summary(const Call& call) {
  std::vector<std::string> pairs;
  for (const auto& [key, value] : call.args) pairs.push_back(key + "=" + value);
  std::sort(pairs.begin(), pairs.end());
  return call.tool.id + " " + Text::join(pairs, " ");
}

/// An action whose impact can't be told waits all the same.
std::optional<std::string> preview(const Call& call) try {
  return call.tool.preview ? call.tool.preview(call.args) : std::nullopt;
} catch (...) {
  return std::nullopt;
}

Result queue(const Call& call, const std::string& reason, const std::filesystem::path& configDir) {
  const PendingStore store(configDir);
  const auto impact = preview(call);  // first, as it may take its time
  PendingAction action = {.id = Uuid::shortId(),
                          .tool = call.tool.id,
                          .args = call.args,
                          .summary = summary(call),
                          .createdAt = Timestamps::now(),
                          .preview = impact};
  try {
    while (!store.addNew(action)) action.id = Uuid::shortId();
  } catch (...) {
    return Failed{"could not save pending: " + currentFailure()};
  }
  audit(call, impact ? with(call.args, "impact", *impact) : call.args, "pending_approval", reason);
  return Pending{action.id, impact};
}

Result refuse(const Call& call, const ActionPolicy::Outcome& outcome) {
  audit(call, call.args, "denied", outcome.reason);
  return Failed{"blocked by deny-rule (" + outcome.ruleID.value_or("?") + ")", true};
}

/// Why an action waits: a rule or the cap by its name, the plain policy by one name for every mode.
std::string queueReason(const std::string& reason, AutonomyMode mode) {
  const bool plainPolicy = reason == "policy_" + std::string(AutonomyModes::rawValue(mode));
  return plainPolicy ? "needs_approval" : reason;
}

Result pass(const Call& call, const std::filesystem::path& configDir) {
  // Opening the rules makes the home ready. On a first start that brings an older installation's settings over, and
  // its owner may have locked everything.
  RuleStore::shared();
  const HarnessConfig config = HarnessConfig::load();
  const ActionPolicy::Outcome outcome = decision(call.tool, call.args, config);
  switch (outcome.decision) {
    case ActionPolicy::Decision::automatic:
      return runNow(call, outcome.reason);
    case ActionPolicy::Decision::ask:
      return queue(call, queueReason(outcome.reason, config.autonomyMode), configDir);
    case ActionPolicy::Decision::deny:
      break;
  }
  return refuse(call, outcome);
}

std::string outputOf(const Tool& tool, const Arguments& args) {
  if (tool.nativeRun) return tool.nativeRun(args);
  const Script script = buildScript(tool, args);
  OSAScript::Result result = OSAScript::run(script.text, script.argv);
  if (!result.ok) throw Error(std::move(result.error));
  return std::move(result.output);
}

}  // namespace

Result run(const Tool& tool, const Arguments& args, const std::string& actor,
           const std::filesystem::path& configDir) noexcept try {
  buildScript(tool, args);  // checks the arguments, before anything is read or audited
  return pass({tool, args, actor}, configDir);
} catch (...) {
  return Failed{currentFailure()};
}

ActionPolicy::Outcome decide(const Tool& tool, const Arguments& args) {
  RuleStore::shared();  // makes the home ready, before its settings are read
  return decision(tool, args, HarnessConfig::load());
}

Built executeBuilt(const Tool& tool, const Arguments& args) noexcept try {
  std::string output = outputOf(tool, args);
  if (tool.transform) output = tool.transform(output);
  return {true, std::move(output), ""};
} catch (...) {
  return {false, "", currentFailure()};
}

Built executeDecided(const Tool& tool, const Arguments& args, const std::string& actor,
                     const std::string& reason) noexcept {
  Built built = executeBuilt(tool, args);
  const auto details =
      with(args, built.ok ? "result" : "error", auditPreview(built.ok ? built.output : built.error, auditedCharacters));
  audit({tool, args, actor}, details, built.ok ? "executed" : "error", reason);
  return built;
}

std::string auditPreview(std::string_view text, std::size_t max) {
  const std::string_view trimmed = Text::trim(text);
  const std::string_view kept = Text::firstCharacters(trimmed, max);
  return std::string(kept) + (kept.size() < trimmed.size() ? "..." : "");
}

}  // namespace HarnessRunner
