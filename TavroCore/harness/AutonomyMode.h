// The autonomy slider. A higher rank means more autonomy.
#pragma once

#include <array>
#include <optional>
#include <string_view>

enum class AutonomyMode { panic, copilote, yolo };

namespace AutonomyModes {

inline constexpr std::array<AutonomyMode, 3> allCases = {AutonomyMode::panic, AutonomyMode::copilote,
                                                         AutonomyMode::yolo};

std::string_view rawValue(AutonomyMode mode);  // as config.json holds it: "panic", "copilote", "yolo"
std::optional<AutonomyMode> fromRawValue(std::string_view text);
int rank(AutonomyMode mode);  // 0, 1, 2
std::string_view displayName(AutonomyMode mode);
std::string_view blurb(AutonomyMode mode);

}  // namespace AutonomyModes
