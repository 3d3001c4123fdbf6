#include "TavroCore/harness/TavroGuides.h"

#include "Platform/Bundle.h"
#include "Platform/Files.h"
#include "Platform/Text.h"

namespace TavroGuides {
namespace {

std::string load(const char* name, const char* fallback) {
  auto bytes = Files::readIfPossible(Bundle::resource(name));
  if (!bytes) return fallback;
  return Text::decodeUTF8(std::move(*bytes)).value_or(fallback);
}

}  // namespace

const std::string& llm() {
  static const std::string text =
      load("llm-guide.md",
           "Tavro: you propose, the human approves. Effects are read / create / destructive; destructive actions queue "
           "for human approval below YOLO mode. You cannot approve your own actions. Call read-only tools to ground "
           "yourself before mutating.");
  return text;
}

const std::string& user() {
  static const std::string text = load(
      "user-guide.md",
      "Tavro is an auditable agent for your Mac. You set the autonomy level (Panic / Copilote / YOLO) on the Policy "
      "tab; risky actions wait for your approval in the menu-bar cockpit. The assistant can never approve its own "
      "actions.");
  return text;
}

}  // namespace TavroGuides
