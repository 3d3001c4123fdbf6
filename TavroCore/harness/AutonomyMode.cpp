#include "TavroCore/harness/AutonomyMode.h"

namespace {

struct Description {
  std::string_view rawValue;
  std::string_view displayName;
  std::string_view blurb;
};

// In the order of the modes, which is the order of rank.
constexpr std::array<Description, 3> descriptions = {{
    {"panic", "Panic", "Locks everything - every change waits for approval. Only reads run."},
    {"copilote", "Copilote", "Creations (draft, reminder, event...) run; destructive actions wait."},
    {"yolo", "YOLO", "Full access - every action runs immediately, audit-only."},
}};

const Description& describe(AutonomyMode mode) { return descriptions[static_cast<std::size_t>(mode)]; }

}  // namespace

namespace AutonomyModes {

std::string_view rawValue(AutonomyMode mode) { return describe(mode).rawValue; }

std::optional<AutonomyMode> fromRawValue(std::string_view text) {
  for (const AutonomyMode mode : allCases) {
    if (rawValue(mode) == text) return mode;
  }
  return std::nullopt;
}

int rank(AutonomyMode mode) { return static_cast<int>(mode); }

std::string_view displayName(AutonomyMode mode) { return describe(mode).displayName; }

std::string_view blurb(AutonomyMode mode) { return describe(mode).blurb; }

}  // namespace AutonomyModes
