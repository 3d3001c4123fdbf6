#include "TavroCore/mail/NoteTools.h"

#include <algorithm>

#include "Platform/Text.h"
#include "TavroCore/mail/MailScripts.h"
#include "TavroCore/scripting/OSAScript.h"

namespace {

/// A note's body is HTML, where a line feed is no line break.
std::string withLineBreaks(const std::string& text) { return Text::replaceAll(text, "\n", "<br>"); }

Script updateScript(const Arguments& args) {
  const auto& append = argument(args, "append");
  const auto& body = argument(args, "body");
  if (append.empty() && body.empty()) throw ToolError::missingArg("append or body");
  return {MailScripts::noteUpdateScript,
          {requiredArgument(args, "name"), withLineBreaks(append), withLineBreaks(body)}};
}

std::optional<std::string> deletionPreview(const Arguments& args) {
  constexpr std::size_t shown = 5;
  const auto& name = argument(args, "name");
  if (name.empty()) return std::nullopt;
  const auto result = OSAScript::run(MailScripts::noteMatchNamesScript, {name});
  if (!result.ok) return std::nullopt;
  auto names = Text::split(result.output, '\n', /*dropEmpty=*/true);
  const auto count = std::to_string(names.size()) + " note(s)";
  if (names.empty()) return count;
  const bool more = names.size() > shown;
  names.resize(std::min(names.size(), shown));
  return count + ": " + Text::join(names, ", ") + (more ? "..." : "");
}

}  // namespace

std::vector<Tool> NoteTools::all() {
  return {
      {
          .id = "note.list",
          .summary = "List Notes folders with their note count. Read-only - discovery for note.find/add.",
          .effect = Effect::read,
          .build =
              [](const Arguments&) {
                return Script{MailScripts::noteListScript, {}};
              },
      },
      {
          .id = "note.find",
          .summary =
              "List notes, optionally filtered by name and/or body substring ([name], [body], [limit=30]). "
              "Case-insensitive. With no name/body it lists every note (bounded by limit) - the way to browse all "
              "notes. Read-only. One line per hit: folder || name || modified.",
          .effect = Effect::read,
          .build =
              [](const Arguments& args) {
                return Script{MailScripts::noteFindScript,
                              {argument(args, "name"), argument(args, "body"), integerArgument(args, "limit", 30)}};
              },
      },
      {
          .id = "note.read",
          .summary =
              "Read the plain-text body of the SINGLE note whose name contains `name` (case-insensitive substring; "
              "refuses on 0 or >1 match so a vague filter can't read the wrong note). Read-only. Use note.find first "
              "to pin an exact title.",
          .effect = Effect::read,
          .build =
              [](const Arguments& args) {
                return Script{MailScripts::noteReadScript, {requiredArgument(args, "name")}};
              },
      },
      {
          .id = "note.add",
          .summary =
              "Create a note (title, body). The title is auto-bolded. `body` is rendered as HTML: use <b>, <i>, <br>, "
              "<ul><li>...</li></ul> for structure (NOT markdown, NOT plain-text \"- \" bullets - those land as "
              "literal text). Plain-text newlines are converted to <br> as a fallback, so multi-line plain text still "
              "keeps its line breaks. Escape literal <, >, & in non-HTML text yourself.",
          .effect = Effect::create,
          .build =
              [](const Arguments& args) {
                return Script{MailScripts::noteAddScript,
                              {requiredArgument(args, "title"), withLineBreaks(argument(args, "body"))}};
              },
      },
      {
          .id = "note.open",
          .summary =
              "Open Notes.app and show the first note whose name contains `name` (case-insensitive substring). "
              "Read-only - only brings the app/note to the front. Use after note.add to surface a note for the human.",
          .effect = Effect::read,
          .build =
              [](const Arguments& args) {
                return Script{MailScripts::noteOpenScript, {requiredArgument(args, "name")}};
              },
      },
      {
          .id = "note.update",
          .summary =
              "Update the SINGLE note whose name contains `name` (refuses on 0 or >1 match so a vague filter can't hit "
              "the wrong note). Provide ≥1 of: [append] (HTML appended to the body - the safe additive option), [body] "
              "(HTML that REPLACES the body, title kept). HTML rules as in note.add; newlines → <br>.",
          .effect = Effect::create,
          .build = updateScript,
      },
      {
          .id = "note.delete",
          .summary =
              "Delete every note whose name contains `name` (case-insensitive substring). Moves to Notes → Recently "
              "Deleted (recoverable ~30 days). The preview lists exactly which notes match - keep `name` specific so "
              "it can't sweep more than intended. Approval.",
          .effect = Effect::destructive,
          .build =
              [](const Arguments& args) {
                return Script{MailScripts::noteDeleteScript, {requiredArgument(args, "name")}};
              },
          .preview = deletionPreview,
      },
  };
}
