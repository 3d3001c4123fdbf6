// What programs may do with the owner's events, reminders and applications: permissions.json in the desktop's root.
//
//   {
//     "events":     { "access": "not determined", "consent": "give" },
//     "reminders":  { "access": "full access" },
//     "automation": { "Mail": { "access": "denied" } }
//   }
//
// "access" is "not determined", "restricted", "denied", "full access" or "write only"; for an application, which goes
// by its name, "not determined", "denied" or "full access". "consent" is what the owner answers when a program asks,
// "give" or "refuse"; the answer becomes the access. Without it a question is refused, for nobody can be asked here,
// and the access stays as it is. Other fields are left alone.
//
// Where nothing is said, access is full: the files are the owner's own, and so is the decision which agent may
// act at all. What can't be read, or says something else, is denied.
#pragma once

#include <optional>
#include <string_view>

namespace Permissions {

enum class Access { notDetermined, restricted, denied, full, writeOnly };

/// What access is to.
struct Subject {
  static const Subject events, reminders;
  /// Scripts that talk to the application. The name isn't copied.
  static constexpr Subject automation(std::string_view application) { return {"automation", application}; }

  std::string_view group;             // its field in the file
  std::string_view application = {};  // and the field within that one, of automation
};
inline constexpr Subject Subject::events{"events"};
inline constexpr Subject Subject::reminders{"reminders"};

Access access(Subject subject);

/// The owner's answer to a program that asks for full access. Throws FileFailure when it can't be kept.
bool request(Subject subject);

// ---- For the owner's command.

/// Is there such an access to the subject? Nobody may only write to an application or to reminders.
bool isPossible(Subject subject, Access access);

/// Would programs come by more than they do now, be it by asking? Without `consent` the recorded one counts.
bool widens(Subject subject, Access access, std::optional<bool> consent);

/// Throws FileFailure, and Error when the file is there and can't be read.
void set(Subject subject, Access access, std::optional<bool> consent = {});

/// "full access"
std::string_view word(Access access);
std::optional<Access> accessOf(std::string_view word);

}  // namespace Permissions
