#include "TavroCore/personal/MessageTools.h"

#include "Platform/Text.h"
#include "TavroCore/harness/HarnessConfig.h"
#include "TavroCore/personal/MessagesDB.h"
#include "TavroCore/personal/PersonalScripts.h"

namespace {

Script sendScript(const Arguments& args) {
  const auto& to = requiredArgument(args, "to");
  return {PersonalScripts::imessageSendScript, {to, requiredArgument(args, "text")}};
}

/// To the owner, whomever the call names.
Script notifyScript(const Arguments& args) {
  const auto handle = HarnessConfig::load().notifyIMessageHandle.value_or("");
  const auto owner = Text::trim(handle);
  if (owner.empty()) throw ToolError::missingArg("notify iMessage handle (set it in Settings → Notifications)");
  return {PersonalScripts::imessageSendScript, {std::string(owner), requiredArgument(args, "text")}};
}

std::string readMessages(const Arguments& args) {
  const auto limit = Text::parseInteger(argument(args, "limit")).value_or(50);
  const auto messages = MessagesDB::recentInbound(argument(args, "from"), Text::parseInteger(argument(args, "since")),
                                                  argument(args, "contains"), limit);
  if (messages.empty()) return "(no matching inbound messages)";
  std::vector<std::string> lines;
  for (const auto& message : messages) lines.push_back(message.date + " || " + message.handle + " || " + message.text);
  return Text::join(lines, "\n");
}

}  // namespace

std::vector<Tool> MessageTools::notifying() {
  return {
      {
          .id = "imessage.notify",
          .summary =
              "Notify the OWNER by iMessage: send to the configured owner handle (Settings → notify iMessage handle). "
              "Args: text. effect=create → runs immediately in Copilote/YOLO (NO approval queue) because it can ONLY "
              "reach the owner's own configured handle - low-stakes. The autonomous iMessage push channel for "
              "agents/loops (imessage.send stays approval-gated for arbitrary recipients). Errors if no handle is "
              "configured. The recipient comes from config; any `to=` is ignored.",
          .effect = Effect::create,
          .build = notifyScript,
      },
  };
}

std::vector<Tool> MessageTools::all() {
  return {
      {
          .id = "imessage.send",
          .summary = "Send an iMessage to a recipient (to=<phone or email>, text) - iMessage service only, NO "
                     "green-bubble SMS fallback. Irreversible -> approval. NOTE: Messages scripting is "
                     "version-sensitive; verify once before relying on it.",
          .effect = Effect::destructive,
          .build = sendScript,
      },
      {
          .id = "imessage.read",
          .summary =
              "Read recent INBOUND iMessages from Messages' chat.db (the inbound side has no AppleScript). Args: "
              "[from=<handle>], [since=<minutes>], [contains=<text>], [limit=50]. One line per message: date || "
              "handle || text. Read-only. Requires Full Disk Access (chat.db is TCC-protected); errors clearly if "
              "not granted.",
          .effect = Effect::read,
          .build = requiring({}),
          .nativeRun = readMessages,
      },
  };
}
