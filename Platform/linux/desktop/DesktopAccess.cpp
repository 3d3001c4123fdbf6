// The owner's settings, as permissions.json keeps them. The command line's words are the file's with hyphens.
#include "Platform/DesktopAccess.h"

#include "Platform/Error.h"
#include "Platform/Text.h"
#include "Platform/linux/stores/InstalledApplications.h"
#include "Platform/linux/stores/Permissions.h"

using Permissions::Access;
using Permissions::Subject;

namespace {

Subject subjectOf(std::string_view name) {
  if (name == "calendar") return Subject::events;
  if (name == "reminders") return Subject::reminders;
  return Subject::automation(name);
}

std::string hyphenated(Access access) { return Text::replaceAll(Permissions::word(access), " ", "-"); }

Access accessOf(std::string_view state) {
  const auto access = Permissions::accessOf(Text::replaceAll(state, "-", " "));
  if (!access) throw Error("there is no access called " + std::string(state));
  return *access;
}

}  // namespace

namespace DesktopAccess {

std::vector<std::string> subjects() {
  std::vector<std::string> subjects = {"calendar", "reminders"};
  for (const auto& application : InstalledApplications::all) subjects.emplace_back(application.name);
  return subjects;
}

std::vector<std::string> states(std::string_view subject) {
  std::vector<std::string> states;
  for (const auto access : {Access::full, Access::writeOnly, Access::denied, Access::restricted, Access::notDetermined})
    if (Permissions::isPossible(subjectOf(subject), access)) states.push_back(hyphenated(access));
  return states;
}

std::string state(std::string_view subject) { return hyphenated(Permissions::access(subjectOf(subject))); }

bool widens(std::string_view subject, std::string_view state, std::optional<bool> consent) {
  return Permissions::widens(subjectOf(subject), accessOf(state), consent);
}

void set(std::string_view subject, std::string_view state, std::optional<bool> consent) {
  Permissions::set(subjectOf(subject), accessOf(state), consent);
}

}  // namespace DesktopAccess
