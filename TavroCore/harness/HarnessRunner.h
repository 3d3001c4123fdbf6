// The gate: the one road by which an agent's call reaches a tool. Each call reads the settings and the
// rules afresh, asks ActionPolicy, and then runs the tool, queues it for a human or refuses it, and
// leaves one audit line.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "TavroCore/harness/ActionPolicy.h"
#include "TavroCore/harness/Tool.h"

namespace HarnessRunner {

struct Executed {
  std::string output;  // after `transform`
};
struct Pending {
  std::string id;
  std::optional<std::string> preview;
};
struct Failed {
  std::string message;
  bool denied = false;  // by a rule
};
using Result = std::variant<Executed, Pending, Failed>;

/// `actor` names who asks: "mcp", "cli", "vendry:<loop>". `configDir` holds the approval queue. Never
/// throws.
Result run(const Tool& tool, const Arguments& args, const std::string& actor,
           const std::filesystem::path& configDir) noexcept;

/// What `run` would decide now; nothing runs, and nothing is written. The arguments aren't checked.
ActionPolicy::Outcome decide(const Tool& tool, const Arguments& args);

struct Built {
  bool ok = false;
  std::string output;
  std::string error;  // empty when ok
};

/// Runs a tool with no policy check and no audit. Never throws.
Built executeBuilt(const Tool& tool, const Arguments& args) noexcept;

/// Runs a tool that a human has decided on, with no policy check, and leaves an audit line, "executed" or "error", with
/// this actor and reason. The details are the arguments and the beginning of the output (`result`) or of the failure
/// (`error`). Never throws.
Built executeDecided(const Tool& tool, const Arguments& args, const std::string& actor,
                     const std::string& reason) noexcept;

/// `text` without white space at its ends, cut to `max` characters and "..." when it has more.
std::string auditPreview(std::string_view text, std::size_t max);

}  // namespace HarnessRunner
