#include "TavroCLI/Nearest.h"

#include <algorithm>
#include <array>

#include "Platform/Text.h"
#include "TavroCLI/ExitStatus.h"

namespace {

constexpr std::size_t longestWord = 64;  // bounds the table below; nobody mistypes a longer one

/// Optimal string alignment: Levenshtein's distance with swaps of neighbours, in three rolling rows.
std::size_t distance(std::string_view a, std::string_view b) {
  std::array<std::array<std::size_t, longestWord + 1>, 3> rows{};
  for (std::size_t j = 0; j <= b.size(); ++j) rows[0][j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    auto& row = rows[i % 3];
    const auto& above = rows[(i - 1) % 3];
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      row[j] = std::min({above[j] + 1, row[j - 1] + 1, above[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1)});
      const bool swapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
      if (swapped) row[j] = std::min(row[j], rows[(i - 2) % 3][j - 2] + 1);
    }
  }
  return rows[a.size() % 3][b.size()];
}

}  // namespace

namespace Nearest {

std::optional<std::string> find(std::string_view word, const std::vector<std::string>& known) {
  if (word.empty() || word.size() > longestWord) return std::nullopt;
  const std::string typed = Text::lowercase(word);
  std::size_t best = std::max<std::size_t>(2, word.size() / 3) + 1;
  std::optional<std::string> result;
  for (const auto& candidate : known) {
    const std::string lower = Text::lowercase(candidate);
    if (typed.size() > longestWord || lower.size() > longestWord) continue;
    const std::size_t slips = distance(typed, lower);
    if (slips >= std::min(best, std::max(typed.size(), lower.size()))) continue;  // nothing in common is not near
    best = slips;
    result = candidate;
  }
  return result;
}

std::string hint(std::string_view word, const std::vector<std::string>& known) {
  const auto nearest = find(word, known);
  return nearest ? "; did you mean \"" + *nearest + "\"?" : "";
}

std::string id(std::string_view what, std::string_view typed, const std::vector<std::string>& known) {
  const std::string wanted = Text::lowercase(typed);
  std::vector<std::string> fitting;
  for (const auto& candidate : known) {
    const std::string lower = Text::lowercase(candidate);
    if (lower == wanted) return candidate;
    if (!wanted.empty() && lower.starts_with(wanted)) fitting.push_back(candidate);
  }
  if (fitting.size() == 1) return fitting.front();
  const std::string name = std::string(what) + " \"" + std::string(typed) + "\"";
  if (fitting.empty()) throw CommandError(ExitStatus::failed, "no " + name + hint(typed, known));
  throw CommandError(ExitStatus::failed, name + " could be any of " + Text::join(fitting, ", ") + "; give more of it");
}

}  // namespace Nearest
