#include "TavroCLI/Doctor.h"

#include <sys/stat.h>

#include <algorithm>

#include "Platform/Bundle.h"
#include "Platform/DesktopAccess.h"
#include "Platform/Files.h"
#include "Platform/Json.h"
#include "Platform/Program.h"
#include "Platform/Text.h"
#include "TavroCLI/ClientConfigurations.h"
#include "TavroCLI/ImapLogin.h"
#include "TavroCLI/Loops.h"
#include "TavroCore/automations/VendryEngine.h"
#include "TavroCore/harness/Approval.h"
#include "TavroCore/harness/ConfigDir.h"
#include "TavroCore/harness/HarnessConfig.h"
#include "TavroCore/harness/TavroDB.h"
#include "TavroCore/mail/Keychain.h"
#include "TavroCore/mail/MailAccounts.h"
#include "TavroCore/personal/PermissionBootstrap.h"

namespace {

using Doctor::Finding;
using Doctor::State;
using Findings = std::vector<Finding>;

Finding good(std::string text) { return {.text = std::move(text)}; }
Finding note(std::string text, std::string remedy) { return {State::note, "", std::move(text), std::move(remedy)}; }
Finding bad(std::string text, std::string remedy) { return {State::bad, "", std::move(text), std::move(remedy)}; }

// ---- What each check looks at.

Findings programs() {
  Findings findings;
  for (const char* name : {"osascript", "launchctl", "open", "pkill"}) {
    const auto path = Platform::program(name);
    if (!Files::isExecutable(path))
      findings.push_back(bad(std::string(name) + " isn't at " + path.string(), "install it anew"));
  }
  for (const auto& path :
       {Bundle::url() / "tavro-mcp", Bundle::resource("llm-guide.md"), Bundle::resource("user-guide.md")})
    if (!Files::exists(path)) findings.push_back(bad(path.string() + " is missing", "install Tavro anew"));
  if (!VendryEngine::tmuxPath())
    findings.push_back(note("there is no tmux: runs in the background can't be watched", "apt install tmux"));
  if (findings.empty()) findings.push_back(good("all programs are there"));
  return findings;
}

/// A full disk shows only when something is written.
std::optional<std::string> writeFailure(const std::filesystem::path& directory) {
  const auto trial = Files::temporaryName(directory, ".doctor", "trial");
  try {
    Files::createNew(trial, std::string(4096, ' '));
    Files::remove(trial);
    return std::nullopt;
  } catch (const FileFailure& failure) {
    Files::remove(trial);
    return failure.description();
  }
}

Findings home() {
  const auto url = ConfigDir::url();
  ConfigDir::ensure();
  Findings findings;
  struct stat entry {};
  if (::stat(url.c_str(), &entry) == 0 && (entry.st_mode & 077) != 0)
    findings.push_back(bad(url.string() + " is open to other users", "chmod 700 " + url.string()));
  if (const auto failure = writeFailure(url))
    findings.push_back(bad(*failure, "free some space, or chmod u+w " + url.string()));
  const auto config = Files::readIfPossible(url / "config.json");
  if (config && !JsonText::parseObject(*config)) {
    findings.push_back(bad((url / "config.json").string() + " is no JSON object, so every setting has its default",
                           "mend the file, or move it away and set the mode anew"));
  }
  if (findings.empty()) findings.push_back(good(url.string() + " is yours alone, and its settings can be read"));
  if (HarnessConfig::load().notifyEmail.empty())
    findings.push_back(note("no notifyEmail: automations can't mail you",
                            "put \"notifyEmail\": \"you@example.org\" into " + (url / "config.json").string()));
  return findings;
}

Findings database() {
  const auto faults = TavroDB::forProcess()->faults();
  if (faults.empty())
    return {good("tavro.sqlite is sound, with " + std::to_string(TavroDB::forProcess()->audit.count()) +
                 " lines of audit")};
  return {bad("tavro.sqlite is damaged: " + faults.front(),
              "stop all agents, then: sqlite3 " + ConfigDir::databaseFile().string() +
                  " .dump | sed 's/^ROLLBACK.*/COMMIT;/' | sqlite3 mended.sqlite")};
}

Findings queue() {
  const auto items = Approval::list(PendingStore(ConfigDir::url()));
  const auto interrupted = std::count_if(items.begin(), items.end(), [](const Approval::Item& item) {
    return item.state == Approval::State::interrupted;
  });
  if (interrupted > 0)
    return {bad(std::to_string(interrupted) + " approved actions were cut off and may have run", "tavro pending")};
  if (items.empty()) return {good("nothing waits for you")};
  return {note(std::to_string(items.size()) + (items.size() == 1 ? " action waits for you" : " actions wait for you"),
               "tavro approve")};
}

/// Where the desktop is ours, a command grants it; else the system's settings do, which the finding names.
std::string remedyFor(const PermissionBootstrap::ScopeResult& scope) {
  for (const auto& subject : DesktopAccess::subjects())
    if (scope.label.starts_with(subject + " (") || scope.id == subject)
      return "tavro access set " + subject + " full-access";
  return "tavro access status";
}

Findings permissions() {
  Findings findings;
  std::vector<std::string> unknown;
  for (const auto& scope : PermissionBootstrap::status()) {
    if (scope.granted == false) findings.push_back(note(scope.label + ": " + scope.detail, remedyFor(scope)));
    if (!scope.granted) unknown.push_back(scope.label);
  }
  if (!unknown.empty())
    findings.push_back(note("never asked for yet: " + Text::join(unknown, ", "), "tavro access setup"));
  if (findings.empty()) findings.push_back(good("every application and store may be used"));
  return findings;
}

Findings timers() {
  Findings findings;
  const auto automations = VendryEngine::list();
  for (const auto& automation : automations) {
    if (automation.enabled && !VendryEngine::isAgentLoaded(automation.name))
      findings.push_back(bad("the timer of \"" + automation.name + "\" isn't loaded", "tavro auto sync"));
    if (const auto obstacle = Loops::obstacle(automation))
      findings.push_back(bad("\"" + automation.name + "\" can't do its work: " + *obstacle,
                             "tavro auto edit '" + automation.name + "' client=... or background=true"));
    if (automation.lastRunOK() == false)
      findings.push_back(
          note("the last run of \"" + automation.name + "\" failed", "tavro auto log '" + automation.name + "'"));
  }
  if (findings.empty())
    findings.push_back(good(automations.empty() ? "there are no automations" : "every automation has its timer"));
  return findings;
}

Findings clients() {
  Findings findings;
  for (const auto& client : ClientConfigurations::all()) {
    if (client.hasServer(MCPConfigWriter::defaultServerName) != true) continue;
    if (client.startsUs(MCPConfigWriter::defaultServerName))
      findings.push_back(good(client.id + " starts this server (" + client.file->string() + ")"));
    else
      findings.push_back(bad(client.id + " starts another server by our name", "tavro install " + client.id));
  }
  if (findings.empty()) findings.push_back(bad("no agent's client knows this server", "tavro install claude"));
  return findings;
}

Findings accounts() {
  Findings findings;
  const auto known = MailAccounts::all();
  if (known.empty())
    findings.push_back(note("Mail has no account that can be asked",
                            "add one (docs/linux-desktop.md), or try tavro desktop init --sample"));
  else
    findings.push_back(
        good("Mail has " + std::to_string(known.size()) + (known.size() == 1 ? " account" : " accounts")));
  std::vector<std::string> logins;
  for (const auto& account : HarnessConfig::load().imapAccounts) logins.push_back(account.email);
  for (const auto& account : known)
    if (account.isGmail() && std::find(logins.begin(), logins.end(), account.email) == logins.end())
      logins.push_back(account.email);
  for (const auto& email : logins) {
    const auto failure = ImapLogin::failure(email);
    const char* verb = Keychain::hasPassword(email) ? "verify " : "password ";
    findings.push_back(failure ? bad(*failure, "tavro imap " + (verb + email))
                               : good(email + " can archive over IMAP"));
  }
  return findings;
}

/// Makes a failure to look a finding.
template <Findings (*look)()>
Findings bravely() try {
  return look();
} catch (const Error& failure) {
  return {bad(failure.description(), "see docs/troubleshooting.md")};
}

}  // namespace

const std::vector<Doctor::Check>& Doctor::checks() {
  static const std::vector<Check> all = {
      {"programs", bravely<programs>},       {"home", bravely<home>},
      {"database", bravely<database>},       {"queue", bravely<queue>},
      {"clients", bravely<clients>},         {"accounts", bravely<accounts>},
      {"permissions", bravely<permissions>}, {"timers", bravely<timers>},
  };
  return all;
}
