#include "TavroCore/personal/CalendarTools.h"

#include "Platform/Text.h"
#include "TavroCore/personal/CalendarService.h"
#include "TavroCore/personal/PersonalScripts.h"

namespace {

long long daysArgument(const Arguments& args, long long fallback) {
  return Text::parseInteger(argument(args, "days")).value_or(fallback);
}

std::string update(const Arguments& args) {
  return CalendarService::update(requiredArgument(args, "contains"), daysArgument(args, 14),
                                 {.title = nonEmptyArgument(args, "title"),
                                  .location = nonEmptyArgument(args, "location"),
                                  .notes = nonEmptyArgument(args, "notes"),
                                  .url = nonEmptyArgument(args, "url")});
}

Script addScript(const Arguments& args) {
  const auto& calendar = requiredArgument(args, "calendar");
  return {PersonalScripts::calAddScript,
          {calendar, requiredArgument(args, "summary"), integerArgument(args, "days", 0), argument(args, "hour"),
           integerArgument(args, "duration", 60), argument(args, "location"), argument(args, "notes"),
           argument(args, "url")}};
}

}  // namespace

std::vector<Tool> CalendarTools::all() {
  return {
      {
          .id = "cal.find",
          .summary =
              "List events across ALL calendars incl. iCloud ([days=7] = next 7 days; NEGATIVE days looks into the "
              "PAST, e.g. days=-7 = last 7 days, [contains=text]). Read-only - native EventKit (AppleScript can't read "
              "iCloud).",
          .effect = Effect::read,
          .build = requiring({}),
          .nativeRun =
              [](const Arguments& args) {
                return CalendarService::find(daysArgument(args, 7), nonEmptyArgument(args, "contains"));
              },
      },
      {
          .id = "cal.update",
          .summary =
              "Update the SINGLE event matching contains= within the next N days ([days=14]) - set [title], "
              "[location], [notes], [url]. url is a free-form link back to a source (mail: "
              "\"message://%3C<Message-ID>%3E\", or any https://, file://...). Native EventKit; refuses on 0 or >1 "
              "match.",
          .effect = Effect::create,
          .build = requiring({"contains"}),
          .nativeRun = update,
      },
      {
          .id = "cal.add",
          .summary =
              "Create an event (calendar, summary, [days=0], [hour] (0-23; omit ⇒ keeps the current time-of-day), "
              "[duration=60], [location], [notes], [url]). url is a free-form link back to a source - when created "
              "from an email pass url=\"message://%3C<Message-ID>%3E\" to link the event to the mail (also https://, "
              "file://...).",
          .effect = Effect::create,
          .build = addScript,
      },
      {
          .id = "cal.delete",
          .summary =
              "Delete the SINGLE event matching contains= within the next N days ([days=14]). Native EventKit; refuses "
              "on 0 or >1 match so a vague filter can't delete the wrong event. Irreversible -> approval.",
          .effect = Effect::destructive,
          .build = requiring({"contains"}),
          .nativeRun =
              [](const Arguments& args) {
                return CalendarService::remove(requiredArgument(args, "contains"), daysArgument(args, 14));
              },
      },
  };
}
