#include "TavroCLI/Picks.h"

#include <algorithm>

#include "Platform/Text.h"

namespace {

struct Range {
  std::size_t first = 0;
  std::size_t last = 0;
};

std::optional<std::size_t> number(std::string_view text, std::size_t count) {
  const auto value = Text::parseInteger(text);
  if (!value || *value < 1 || static_cast<std::size_t>(*value) > count) return std::nullopt;
  return static_cast<std::size_t>(*value);
}

std::optional<Range> range(std::string_view word, std::size_t count) {
  if (word == "all") return Range{1, count};
  const std::size_t hyphen = word.find('-');
  const auto first = number(word.substr(0, hyphen), count);
  const auto last = hyphen == word.npos ? first : number(word.substr(hyphen + 1), count);
  if (!first || !last || *last < *first) return std::nullopt;
  return Range{*first, *last};
}

}  // namespace

std::optional<Picks::Choice> Picks::parse(std::string_view typed, std::size_t count) {
  auto words = Text::split(Text::replaceAll(Text::lowercase(Text::trim(typed)), ",", " "), ' ', true);
  Choice choice;
  if (words.empty() || words.front() == "q" || words.front() == "quit") return choice;
  choice.reject = words.front() == "r" || words.front() == "reject";
  if (choice.reject) words.erase(words.begin());
  for (const auto& word : words) {
    const auto chosen = range(word, count);
    if (!chosen) return std::nullopt;
    for (std::size_t each = chosen->first; each <= chosen->last; ++each)
      if (std::find(choice.numbers.begin(), choice.numbers.end(), each) == choice.numbers.end())
        choice.numbers.push_back(each);
  }
  return choice.numbers.empty() ? std::nullopt : std::optional(std::move(choice));
}
