// The log of an automation's runs: a text file that grows by lines and is put aside when it is large. Scripts write
// into it whatever they like, so it may hold any bytes.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace RunLog {

/// Larger than this, and the log is put aside before the next run.
inline constexpr long long sizeLimit = 1'048'576;

std::string tsLocal();  // "2026-03-14 09:26:53", local

/// Adds the text and a line feed. A failure is passed over.
void append(const std::filesystem::path& log, std::string_view text) noexcept;
/// Moves a log above the limit to <log>.1, over the one that was there. A failure is passed over.
void rotateIfNeeded(const std::filesystem::path& log) noexcept;
/// The last `count` lines, joined with line feeds; what follows the last line feed counts as one, empty or not. Of more
/// than `most` bytes the last ones are given, behind "…". Costs no more than these, however long the log is. Bad UTF-8
/// is repaired. Nothing when the log can't be read.
std::optional<std::string> lastLines(const std::filesystem::path& log, long long count, long long most = sizeLimit);

}  // namespace RunLog
