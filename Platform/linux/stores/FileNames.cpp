#include "Platform/linux/stores/FileNames.h"

#include "Platform/Text.h"
#include "Platform/Uuid.h"

namespace {

bool isUnsafe(char c) { return c == '/' || c == '\x7F' || (c >= 0 && c < ' '); }

/// At most `limit` bytes, cut between characters.
std::string_view shortened(std::string_view text, std::size_t limit) {
  if (text.size() <= limit) return text;
  std::size_t end = 0;
  for (const auto boundary : Text::characterBoundaries(text.substr(0, limit + 1)))
    if (boundary <= limit) end = boundary;
  return text.substr(0, end);
}

std::string_view withoutDotsAndBlanks(std::string_view text) {
  const auto begin = text.find_first_not_of(". ");
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(". ") - begin + 1);
}

}  // namespace

std::string FileNames::safe(std::string_view title) {
  constexpr std::size_t limit = 200;
  std::string name = Text::repairUTF8(std::string(title.substr(0, 4 * limit)));
  for (char& c : name)
    if (isUnsafe(c)) c = c == '/' ? '-' : ' ';
  const auto rest = withoutDotsAndBlanks(shortened(withoutDotsAndBlanks(name), limit));
  return rest.empty() ? "Untitled" : std::string(rest);
}

std::string FileNames::firstFree(std::string_view title, std::string_view extension,
                                 const std::function<bool(const std::string&)>& take) {
  constexpr int lastNumber = 9;
  const auto stem = safe(title);
  auto name = stem + std::string(extension);
  for (int number = 2; !take(name); ++number)
    name = stem + " " + (number <= lastNumber ? std::to_string(number) : Uuid::shortId()) + std::string(extension);
  return name;
}
