#include "TavroCore/personal/ReminderTools.h"

#include <fmt/format.h>

#include "Platform/Text.h"
#include "TavroCore/personal/PersonalScripts.h"
#include "TavroCore/personal/RemindersService.h"

namespace {

bool says(const Arguments& args, const std::string& key, std::string_view word) {
  return Text::lowercase(argument(args, key)) == word;
}

std::string find(const Arguments& args) {
  const auto limit = Text::parseInteger(argument(args, "limit")).value_or(50);
  return RemindersService::find(argument(args, "list"), says(args, "includeCompleted", "true"), limit);
}

/// The script makes the reminder before it reads the day, so a day that it can't read would leave one behind, and a
/// second one when the agent tries again.
Script addScript(const Arguments& args) {
  const auto& name = requiredArgument(args, "name");
  const auto& due = argument(args, "due");
  if (!due.empty()) RemindersService::checkDay(due);
  return {PersonalScripts::reminderAddScript, {name, argument(args, "list"), due, argument(args, "notes")}};
}

std::string update(const Arguments& args) {
  const auto& name = requiredArgument(args, "name");
  return RemindersService::update(name, argument(args, "list"), requiredArgument(args, "due"));
}

Script completeScript(const Arguments& args) {
  return {PersonalScripts::reminderCompleteScript,
          {argument(args, "list"), requiredArgument(args, "name"), says(args, "complete", "false") ? "0" : "1"}};
}

std::optional<std::string> listDeletionPreview(const Arguments& args) {
  const auto& name = argument(args, "name");
  if (name.empty()) return std::nullopt;
  return fmt::format("Deletes list \"{}\" and its {} reminder(s) - irreversible.", name,
                     RemindersService::listCount(name));
}

std::optional<std::string> clearingPreview(const Arguments& args) {
  const auto& list = argument(args, "list");
  return fmt::format("Deletes {} completed reminder(s) from {} - active ones untouched, irreversible.",
                     RemindersService::completedCount(list), RemindersService::placeName(list));
}

}  // namespace

std::vector<Tool> ReminderTools::all() {
  return {
      {
          .id = "reminder.lists",
          .summary = "List every Reminders list - FLAT, groups/folders INCLUDED (AppleScript hides grouped lists; "
                     "EventKit sees them) - with active + completed counts. Read-only. CALL THIS FIRST to learn the "
                     "exact list= names. One line per list: TITLE || active=N || done=M.",
          .effect = Effect::read,
          .build = requiring({}),
          .nativeRun = [](const Arguments&) { return RemindersService::listAll(); },
      },
      {
          .id = "reminder.find",
          .summary = "List reminders ([list=<name>] for one list else all, [includeCompleted=true], [limit=50]). "
                     "Read-only - native EventKit (sees grouped lists too). One line per reminder: list || todo|done "
                     "|| due || name.",
          .effect = Effect::read,
          .build = requiring({}),
          .nativeRun = find,
      },
      {
          .id = "reminder.add",
          .summary = "Create a reminder (name, [list], [due=YYYY-MM-DD], [notes]). Targets the named list (default: "
                     "the Reminders default list).",
          .effect = Effect::create,
          .build = addScript,
      },
      {
          .id = "reminder.addList",
          .summary = "Create a Reminders list (name). No-op if a list with that name already exists (won't create a "
                     "duplicate). Use before reminder.add when the target list doesn't exist yet.",
          .effect = Effect::create,
          .build =
              [](const Arguments& args) {
                return Script{PersonalScripts::reminderAddListScript, {requiredArgument(args, "name")}};
              },
      },
      {
          .id = "reminder.renameList",
          .summary = "Rename a Reminders list (from=<current name>, to=<new name>). Reversible. Errors if no list "
                     "named from= exists.",
          .effect = Effect::create,
          .build =
              [](const Arguments& args) {
                return Script{PersonalScripts::reminderRenameListScript,
                              {requiredArgument(args, "from"), requiredArgument(args, "to")}};
              },
      },
      {
          .id = "reminder.update",
          .summary = "Set a new due date on the SINGLE incomplete reminder whose name contains `name` "
                     "(due=YYYY-MM-DD or \"YYYY-MM-DD HH:MM\", [list=<name>] to scope). Refuses on 0 or >1 match. "
                     "Native EventKit (reaches grouped lists); shifts existing alarms with the due date. "
                     "Reversible, runs immediately (no approval).",
          .effect = Effect::create,
          .build = requiring({"name", "due"}),
          .nativeRun = update,
      },
      {
          .id = "reminder.complete",
          .summary = "Mark reminder(s) whose name contains `name` complete (or [complete=false] to reopen), in "
                     "[list=<name>] or - if list= omitted - EVERY match across ALL lists. Keep `name` specific. "
                     "Reversible, runs immediately (no approval).",
          .effect = Effect::create,
          .build = completeScript,
      },
      {
          .id = "reminder.delete",
          .summary = "Delete reminder(s) whose name contains `name`, in [list=<name>] or all lists. Irreversible -> "
                     "approval.",
          .effect = Effect::destructive,
          .build =
              [](const Arguments& args) {
                return Script{PersonalScripts::reminderDeleteScript,
                              {argument(args, "list"), requiredArgument(args, "name")}};
              },
      },
      {
          .id = "reminder.deleteList",
          .summary = "Delete a Reminders list AND every reminder in it (name) - native EventKit, so it reaches "
                     "grouped/archived lists AppleScript can't. Deletes all lists sharing that exact title. "
                     "Irreversible -> approval.",
          .effect = Effect::destructive,
          .build = requiring({"name"}),
          .nativeRun =
              [](const Arguments& args) { return RemindersService::deleteList(requiredArgument(args, "name")); },
          .preview = listDeletionPreview,
      },
      {
          .id = "reminder.clearCompleted",
          .summary = "Delete COMPLETED reminders only, in [list=<name>] or across all lists - native EventKit (sees "
                     "grouped lists). Active reminders are NEVER touched. Irreversible -> approval.",
          .effect = Effect::destructive,
          .build = requiring({}),
          .nativeRun = [](const Arguments& args) { return RemindersService::clearCompleted(argument(args, "list")); },
          .preview = clearingPreview,
      },
  };
}
