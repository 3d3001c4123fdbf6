#include "TavroCLI/Usage.h"

#include "Platform/Text.h"
#include "TavroCLI/Nearest.h"

namespace Usage {

void unknown(std::string_view what, std::string_view word, const std::vector<std::string>& known,
             std::string_view more) {
  const std::string hint = Nearest::hint(word, known);
  wrong("unknown " + std::string(what) + ": " + std::string(word) + (hint.empty() ? "." : hint) + " " +
        std::string(more));
}

void unknown(std::string_view what, std::string_view word, const std::vector<std::string>& known) {
  unknown(what, word, known, "There is " + Text::join(known, ", "));
}

long long wholeNumber(const std::string& option, const std::string& text, long long least) {
  const auto number = Text::parseInteger(text);
  if (number && *number >= least) return *number;
  wrong(option + " wants a whole number from " + std::to_string(least) + ", not \"" + text + "\"");
}

}  // namespace Usage
