// What the person probably meant: the known word nearest to a mistyped one, and ids that are typed in part.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Nearest {

/// The known word that takes the fewest slips (a letter too many, too few, wrong, or swapped with the next) to become
/// `word`, regardless of case; nothing when all are too far off to be meant.
std::optional<std::string> find(std::string_view word, const std::vector<std::string>& known);

/// `; did you mean "NEAREST"?`, or an empty text.
std::string hint(std::string_view word, const std::vector<std::string>& known);

/// The one id that `typed` is, or begins, regardless of case. Throws CommandError (failed) that begins with
/// "no <what> <typed>" when there is none, and one that lists the candidates when there are several.
std::string id(std::string_view what, std::string_view typed, const std::vector<std::string>& known);

}  // namespace Nearest
