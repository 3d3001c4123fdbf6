#include "TavroCLI/Verbs.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <map>

#include "Platform/Files.h"
#include "Platform/Json.h"
#include "Platform/Text.h"
#include "TavroCLI/AccessVerbs.h"
#include "TavroCLI/AuditVerbs.h"
#include "TavroCLI/AutoRunVerbs.h"
#include "TavroCLI/AutoVerbs.h"
#include "TavroCLI/CompletionVerb.h"
#include "TavroCLI/DesktopVerb.h"
#include "TavroCLI/DoctorVerb.h"
#include "TavroCLI/FeedbackVerbs.h"
#include "TavroCLI/ImapVerbs.h"
#include "TavroCLI/InstallVerb.h"
#include "TavroCLI/PolicyVerbs.h"
#include "TavroCLI/QueueVerbs.h"
#include "TavroCLI/RunVerb.h"
#include "TavroCLI/Terminal.h"
#include "TavroCLI/ToolsVerb.h"
#include "TavroCLI/Usage.h"
#include "TavroCLI/WhyVerb.h"
#include "TavroCore/harness/ConfigDir.h"
#include "TavroCore/harness/TavroDB.h"

namespace {

const std::vector<Verb> table = {
    {"run", "TOOL key=value...", "run a tool through the gate", RunVerb::run},
    {"tools", "[ID]", "the tools there are, or one of them whole", ToolsVerb::tools},
    {"pending", "[ID]", "the actions that wait for approval, or one of them whole", QueueVerbs::pending},
    {"approve", "[ID...]", "let queued actions run, each after showing it and asking", QueueVerbs::approve},
    {"reject", "[ID...]", "drop queued actions", QueueVerbs::reject},
    {"why", "ID", "which rule or mode decided about an action", WhyVerb::why},
    {"mode", "[panic|copilote|yolo]", "the autonomy mode, or change it", PolicyVerbs::mode},
    {"rule",
     "",
     "standing orders: allow, ask or deny",
     nullptr,
     {{"list", "", "the rules, newest first", PolicyVerbs::ruleList},
      {"add", "--tool P --decision D", "add a rule (--account A, --match key=text)", PolicyVerbs::ruleAdd},
      {"rm", "ID...", "remove rules", PolicyVerbs::ruleRemove},
      {"enable", "ID...", "switch rules on", PolicyVerbs::ruleEnable},
      {"disable", "ID...", "switch rules off", PolicyVerbs::ruleDisable},
      {"test", "TOOL key=value...", "what the gate would decide; runs nothing", PolicyVerbs::ruleTest}}},
    {"audit",
     "[TEXT]",
     "what was asked, decided and done, newest first",
     AuditVerbs::audit,
     {{"purge", "--older-than DAYS", "delete old lines", AuditVerbs::purge}}},
    {"auto",
     "",
     "work that runs by itself",
     nullptr,
     {{"list", "", "what there is, how it last went, when it runs next", AutoVerbs::list},
      {"log", "NAME", "what its runs wrote (--lines N, --follow)", AutoVerbs::log},
      {"add", "NAME key=value...", "make one: an agent's task, a command, or a tool", AutoVerbs::add},
      {"edit", "NAME key=value...", "change it", AutoVerbs::edit},
      {"enable", "NAME...", "let it run on its schedule", AutoVerbs::enable},
      {"disable", "NAME...", "pause it", AutoVerbs::disable},
      {"run", "NAME...", "run it now, in the background", AutoVerbs::run},
      {"rm", "NAME...", "remove it", AutoVerbs::remove},
      {"stop", "NAME...", "end its run in progress", AutoVerbs::stop},
      {"attach", "NAME", "open a terminal on its run in the background", AutoVerbs::attach},
      {"sync", "", "set all timers anew", AutoVerbs::sync}}},
    {"answer", "ID TEXT", "answer a question of an automation", FeedbackVerbs::answer},
    {"feedback",
     "",
     "your orders to automations, their questions, your answers",
     nullptr,
     {{"list", "[ID]", "all of it, newest first (--open: questions to answer), or one item whole", FeedbackVerbs::list},
      {"tell", "TEXT", "an order for every run to come (--automation NAME, --expires-hours N)", FeedbackVerbs::tell},
      {"rm", "ID...", "take orders back, drop questions", FeedbackVerbs::remove}}},
    {"access",
     "",
     "which applications and calendars the tools may use",
     nullptr,
     {{"status", "", "what is granted; asks nothing and starts nothing", AccessVerbs::status},
      {"setup", "", "ask for all of it at once", AccessVerbs::setup},
      {"set", "SUBJECT STATE", "grant or refuse it, on the Linux desktop", AccessVerbs::set}}},
    {"doctor", "", "what isn't as it should be, and what mends it", DoctorVerb::doctor},
    {"install", "[CLIENT|--file PATH]", "tell an agent's client of this server", InstallVerb::install},
    {"imap",
     "",
     "the mail servers' accounts that archiving logs in to",
     nullptr,
     {{"password", "EMAIL", "keep the password of a mail account in the keychain", ImapVerbs::password},
      {"verify", "EMAIL", "log in to the mail server of an account, and out again", ImapVerbs::verify}}},
    {"desktop",
     "",
     "the Linux desktop that tools act on",
     nullptr,
     {{"init", "[--sample]", "set it up (--sample: with some mail, events, notes, ...)", DesktopVerb::init}}},
    {"auto-run", "NAME", "one run of an automation, from start to end; timers call it", AutoRunVerbs::run, {}, true},
    {"auto-done", "[CODE]", "end the run that this is a part of; its agent calls it", AutoRunVerbs::done, {}, true},
    {"complete", "WORD...", "what may follow; the shells' completions call it", CompletionVerb::complete, {}, true},
    {"completion", "bash|zsh|fish", "a script that completes this command", CompletionVerb::completion},
};

/// The rows by the commands of CLI11 that were made of them, with what each one does.
struct Entry {
  const Verb* verb;
  Work work;  // empty for the head of others
};
using Entries = std::map<const CLI::App*, Entry>;

void declare(CLI::App& parent, const std::vector<Verb>& verbs, Entries& entries) {
  for (const auto& verb : verbs) {
    CLI::App* command = parent.add_subcommand(verb.name, verb.summary);
    entries[command] = {&verb, verb.declare ? verb.declare(*command) : nullptr};
    declare(*command, verb.children, entries);
  }
}

/// Help whose first line shows the arguments as the table tells them.
class Help : public CLI::Formatter {
 public:
  explicit Help(const Entries& entries) : entries_(entries) {}
  std::string make_usage(const CLI::App* command, std::string name) const override {
    const char* arguments = entries_.at(command).verb->arguments;
    return "usage: " + name + (*arguments ? " " : "") + arguments + "\n";
  }

 private:
  const Entries& entries_;
};

std::vector<std::string> names(const std::vector<Verb>& verbs) {
  std::vector<std::string> result;
  for (const auto& verb : verbs) result.emplace_back(verb.name);
  return result;
}

/// Answers a verb that isn't there before CLI11 does, which doesn't know the nearest.
void checkVerbs(const std::vector<std::string>& arguments) {
  const std::vector<Verb>* verbs = &table;
  std::string listing = "`tavro` alone";
  for (const auto& word : arguments) {
    if (word.starts_with('-')) return;
    const auto found = std::find_if(verbs->begin(), verbs->end(), [&](const Verb& verb) { return word == verb.name; });
    if (found == verbs->end()) Usage::unknown("verb", word, names(*verbs), listing + " lists them");
    if (found->declare) return;  // what follows are its arguments
    verbs = &found->children;
    listing = "`tavro " + word + " --help`";
  }
}

[[noreturn]] void wantsOneOf(const Verb& verb) {
  Usage::wrong(std::string(verb.name) + " what? " + Text::join(names(verb.children), ", "));
}

const CLI::App& deepest(const CLI::App& command) {
  const auto named = command.get_subcommands();
  return named.empty() ? command : deepest(*named.back());
}

/// "list|add|rm", and with "..." at its end what isn't wider.
std::string alternatives(const std::vector<Verb>& verbs, std::size_t columns) {
  auto shown = names(verbs);
  std::string text = Text::join(shown, "|");
  while (text.size() > columns && shown.size() > 1) {
    shown.pop_back();
    text = Text::join(shown, "|") + "|...";
  }
  return text;
}

/// "TOOL key=value...", "list|add|rm" for the head of others, "[TEXT]|purge" for what is both.
std::string argumentsOf(const Verb& verb, std::size_t columns) {
  if (!verb.declare) return alternatives(verb.children, columns);
  std::string text = verb.arguments;
  for (const auto& child : verb.children) text += "|" + std::string(child.name);
  return text;
}

/// A line a verb, with its children in it, so that the overview fits a screen.
void addUsage(std::string& text) {
  constexpr std::size_t column = 36;
  for (const auto& verb : table) {
    if (verb.isForPrograms) continue;
    const std::string name = verb.name;
    const std::string arguments = argumentsOf(verb, column - name.size() - 4);
    std::string line = "  " + name + (arguments.empty() ? "" : " ") + arguments;
    line.resize(std::max(line.size() + 1, column), ' ');
    text += line + verb.summary + "\n";
  }
}

/// The gate goes on without settings and rules that can't be read, so the owner mustn't overlook it.
void warnOfWhatIsLost() {
  const auto settings = Files::readIfPossible(ConfigDir::url() / "config.json");
  if (settings && !JsonText::parseObject(*settings))
    Terminal::say("tavro: warning: config.json can't be read, so the mode and all settings have their defaults");
  if (!Files::exists(ConfigDir::databaseFile())) return;
  try {
    TavroDB::forProcess();
  } catch (const Error& failure) {
    Terminal::say("tavro: warning: no rule holds and no audit is written: " + failure.description());
  }
}

}  // namespace

namespace Verbs {

const std::vector<Verb>& all() { return table; }

std::string usage() {
  std::string text = "tavro: what an agent may do on your behalf, under your control.\n\n";
  addUsage(text);
  return text +
         "\nListings take --json. What deletes, or lets more through, asks first or takes --yes.\n"
         "Exit status: 0 done, 1 failed, 2 wrong usage, 3 queued for approval, 4 denied.\n"
         "`tavro VERB --help` tells more of a verb.\n";
}

ExitStatus perform(std::vector<std::string> arguments) {
  if (arguments.empty() || arguments == std::vector<std::string>{"help"}) arguments = {"--help"};
  checkVerbs(arguments);
  CLI::App app("", "tavro");
  app.set_version_flag("--version", "tavro " TAVRO_VERSION);
  app.require_subcommand(0, 1);  // one; a second verb's name is a word like any other: `tavro audit mode`
  Entries entries;
  app.formatter(std::make_shared<Help>(entries));  // the commands that are added take it over
  declare(app, table, entries);
  try {
    std::reverse(arguments.begin(), arguments.end());  // as CLI11 wants them
    app.parse(arguments);
  } catch (const CLI::CallForHelp&) {
    Terminal::print(app.get_subcommands().empty() ? usage() : app.help());
    return ExitStatus::done;
  } catch (const CLI::CallForVersion& version) {
    Terminal::print(std::string(version.what()) + "\n");
    return ExitStatus::done;
  } catch (const CLI::ParseError& failure) {
    Usage::wrong(std::string(failure.what()) + "; --help tells what there is");
  }
  const Entry& chosen = entries.at(&deepest(app));
  if (!chosen.work) wantsOneOf(*chosen.verb);
  const ExitStatus status = chosen.work();
  if (!chosen.verb->isForPrograms) warnOfWhatIsLost();
  return status;
}

}  // namespace Verbs
