#include "TavroCore/mail/MailBody.h"
#include "TavroCore/mail/MailCriteria.h"
#include "TavroCore/mail/MailScripts.h"
#include "TavroCore/mail/MailToolParts.h"
#include "TavroCore/mail/MailTools.h"

namespace {

const std::string filters(MailCriteria::filters);

Script accountsScript(const Arguments&) { return {MailScripts::mailAccountsScript, {}}; }

Script headersScript(const Arguments& args) {
  const auto& account = requiredArgument(args, "account");
  const auto& mailbox = requiredArgument(args, "mailbox");
  return {MailScripts::mailHeadersScript, {account, mailbox, integerArgument(args, "limit", 0)}};
}

Script auditScript(const Arguments& args) {
  Script script = MailTools::onMailbox(MailScripts::mailAuditScript, args);
  script.argv.push_back(integerArgument(args, "limit", 0));
  return script;
}

/// No account and no mailbox is all of them.
Script searchScript(const Arguments& args) {
  MailCriteria::requireFilter(args);
  Script script{MailScripts::searchScript, MailCriteria::criteriaCall(args, "all")};
  if (!args.contains("account")) script.argv[0] = "all";
  script.argv.push_back(integerArgument(args, "limit", 50));
  return script;
}

}  // namespace

Tool MailTools::accounts() {
  return {
      .id = "mail.accounts",
      .summary =
          "List every Mail.app account and its mailboxes. Read-only - CALL THIS FIRST to learn the exact "
          "account=/mailbox= names the other mail tools need (don't guess them).",
      .effect = Effect::read,
      .build = accountsScript,
  };
}

Tool MailTools::headers() {
  return {
      .id = "mail.headers",
      .summary =
          "List date|from|subject of a mailbox (account, mailbox, [limit=0 = ALL - pass a limit to avoid "
          "dumping a huge mailbox]). Read-only.",
      .effect = Effect::read,
      .build = headersScript,
  };
}

Tool MailTools::audit() {
  return {
      .id = "mail.audit",
      .summary =
          "Per-message size+sender of a mailbox (account, mailbox, [limit=0 = ALL], criteria optional + any "
          "of: " +
          filters + "). Read-only - space audit / delete-move dry-run.",
      .effect = Effect::read,
      .build = auditScript,
  };
}

Tool MailTools::search() {
  return {
      .id = "mail.search",
      .summary =
          "Search mail WITHOUT naming each box: account=all|<name> (default all), mailbox=all|<name> "
          "(default all), + ≥1 of: " +
          filters + ", [limit=50]. Read-only. One line per hit: account/mailbox || date || size || from || subject.",
      .effect = Effect::read,
      .build = searchScript,
  };
}

Tool MailTools::body() {
  return {
      .id = "mail.body",
      .summary =
          "Read the cleaned body text of the newest matching message (account, mailbox, subject= exact OR "
          "subjectContains, [from]). On a recurring subject use exact subject= to pin one message. "
          "Read-only - for drafting replies.",
      .effect = Effect::read,
      .build = [](const Arguments& args) { return onNewestMatch(MailScripts::bodyScript, args); },
      .transform = [](const std::string& text) { return MailBody::clean(text); },
  };
}

Tool MailTools::open() {
  return {
      .id = "mail.open",
      .summary =
          "Open the newest matching message in Mail.app and bring it to the front (account, mailbox, "
          "subject= exact OR subjectContains, [from]). On a recurring subject use exact subject= to pin one "
          "message. Read-only - only displays the message (e.g. to view attachments a text body can't "
          "show). Use after mail.search to surface a message for the human.",
      .effect = Effect::read,
      .build = [](const Arguments& args) { return onNewestMatch(MailScripts::openMessageScript, args); },
  };
}

Tool MailTools::messageId() {
  return {
      .id = "mail.messageId",
      .summary =
          "Print the bare RFC Message-ID(s) of matching messages, one per line (account, mailbox, + ≥1 of: " + filters +
          "). Read-only. Wrap an id as url=\"message://%3C<id>%3E\" to link a calendar event "
          "(cal.add/cal.update) back to the source mail.",
      .effect = Effect::read,
      .build = [](const Arguments& args) { return onMatches(MailScripts::messageIDsScript, args); },
  };
}

std::vector<Tool> MailTools::reading() {
  return {accounts(), headers(), audit(), search(), body(), open(), messageId()};
}
