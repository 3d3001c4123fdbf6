#include "TavroCore/harness/Tools.h"

#include <algorithm>
#include <iterator>

#include "TavroCore/automations/AutomationTools.h"
#include "TavroCore/feedback/AskTools.h"
#include "TavroCore/harness/TavroGuides.h"
#include "TavroCore/mail/ContactTools.h"
#include "TavroCore/mail/DesktopTools.h"
#include "TavroCore/mail/MailTools.h"
#include "TavroCore/mail/NoteTools.h"
#include "TavroCore/personal/CalendarTools.h"
#include "TavroCore/personal/MessageTools.h"
#include "TavroCore/personal/ReminderTools.h"

namespace Tools {
namespace {

const Tool howItWorks{
    .id = "how_it_works",
    .summary =
        "Read the Tavro operating manual: the policy model (autonomy slider + rules), effect classes, the human-only "
        "approval queue, the tool catalog by domain, and the scheduled-automation completion contract. Call this once "
        "before acting if you're unsure how Tavro gates your actions.",
    .effect = Effect::read,
    .build = requiring({}),
    .nativeRun = [](const Arguments&) { return llmGuide(); },
};

std::vector<Tool> concatenate(std::initializer_list<std::vector<Tool>> domains) {
  std::vector<Tool> catalogue;
  for (const auto& tools : domains) std::copy(tools.begin(), tools.end(), std::back_inserter(catalogue));
  return catalogue;
}

}  // namespace

const std::vector<Tool>& all() {
  static const std::vector<Tool> catalogue = concatenate({
      MailTools::reading(),
      MailTools::composing(),
      MessageTools::notifying(),
      MailTools::answering(),
      MailTools::changing(),
      CalendarTools::all(),
      ReminderTools::all(),
      NoteTools::all(),
      ContactTools::all(),
      MessageTools::all(),
      DesktopTools::all(),
      {howItWorks},
      AutomationTools::all(),
      AskTools::all(),
  });
  return catalogue;
}

const Tool* find(std::string_view id) {
  const auto& tools = all();
  const auto found = std::find_if(tools.begin(), tools.end(), [&](const Tool& tool) { return tool.id == id; });
  return found == tools.end() ? nullptr : &*found;
}

const std::string& llmGuide() { return TavroGuides::llm(); }

}  // namespace Tools
