#include "TavroCore/mail/ContactTools.h"

#include "TavroCore/mail/MailScripts.h"

namespace {

Script findScript(const Arguments& args) {
  const auto& query = argument(args, "query");
  const auto& email = argument(args, "email");
  if (query.empty() && email.empty()) throw ToolError::missingArg("query or email");
  return {MailScripts::contactFindScript, {query, email, integerArgument(args, "limit", 20)}};
}

Script addScript(const Arguments& args) {
  const auto& first = argument(args, "first");
  const auto& last = argument(args, "last");
  const auto& name = argument(args, "name");
  if (first.empty() && last.empty() && name.empty()) throw ToolError::missingArg("first, last, or name");
  return {MailScripts::contactAddScript,
          {first, last, name, argument(args, "email"), argument(args, "phone"), argument(args, "org")}};
}

}  // namespace

std::vector<Tool> ContactTools::all() {
  return {
      {
          .id = "contact.find",
          .summary =
              "Find people by [query] (name substring) and/or [email] (email substring); ≥1 required. email-only scans "
              "the whole address book (slower). [limit=20]. Read-only. One line per hit: name || org || emails || "
              "phones. Use to resolve a sender to a known contact.",
          .effect = Effect::read,
          .build = findScript,
      },
      {
          .id = "contact.add",
          .summary =
              "Create a contact (one of first/last/name required; [email], [phone], [org]). `name` is stored AS-IS in "
              "the first-name field (no auto-split) - for a full name pass first= and last= separately.",
          .effect = Effect::create,
          .build = addScript,
      },
  };
}
