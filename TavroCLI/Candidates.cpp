#include "TavroCLI/Candidates.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <set>

#include "Platform/DesktopAccess.h"
#include "TavroCLI/ClientConfigurations.h"
#include "TavroCLI/RuleText.h"
#include "TavroCLI/Verbs.h"
#include "TavroCore/automations/VendryEngine.h"
#include "TavroCore/harness/Approval.h"
#include "TavroCore/harness/ConfigDir.h"
#include "TavroCore/harness/HarnessConfig.h"
#include "TavroCore/harness/TavroDB.h"
#include "TavroCore/harness/Tools.h"

namespace {

using Candidates::Candidate;
using List = std::vector<Candidate>;

/// A candidate for each of `things`.
template <typename Things, typename Make>
List each(const Things& things, const Make& make) {
  List list;
  std::transform(std::begin(things), std::end(things), std::back_inserter(list), make);
  return list;
}

List words(std::initializer_list<const char*> words) {
  return each(words, [](const char* word) { return Candidate{word}; });
}

// ---- What there is.

List tools() {
  return each(Tools::all(), [](const Tool& tool) { return Candidate{tool.id, std::string(rawValue(tool.effect))}; });
}

List queued() {
  return each(Approval::list(PendingStore(ConfigDir::url())), [](const Approval::Item& item) {
    return Candidate{item.action.id, item.action.summary};
  });
}

List rules() {
  return each(*TavroDB::forProcess()->rules.all(), [](const PolicyRule& rule) {
    return Candidate{rule.id, RuleText::sentence(rule)};
  });
}

List feedback() {
  return each(TavroDB::forProcess()->feedback.list(std::nullopt).items, [](const FeedbackItem& item) {
    return Candidate{item.id, item.text};
  });
}

List questions() {
  auto items = TavroDB::forProcess()->feedback.list(std::nullopt).items;
  std::erase_if(items, [](const FeedbackItem& item) { return !item.isOpen(); });
  return each(items, [](const FeedbackItem& item) { return Candidate{item.id, item.text}; });
}

List loops() {
  return each(VendryEngine::list(), [](const Automation& loop) {
    return Candidate{loop.name, loop.schedule.display()};
  });
}

List clients() {
  auto all = ClientConfigurations::all();
  std::erase_if(all, [](const ClientConfiguration& client) { return !client.file; });
  return each(all, [](const ClientConfiguration& client) { return Candidate{client.id, client.file->string()}; });
}

List subjects() {
  return each(DesktopAccess::subjects(), [](const std::string& subject) { return Candidate{subject}; });
}

List logins() {
  return each(HarnessConfig::load().imapAccounts, [](const IMAPArchiveAccount& account) {
    return Candidate{account.email, account.host};
  });
}

/// What `why` can tell of: what waits, and what the newest lines of the audit speak of.
List explained() {
  List list = queued();
  std::set<std::string> known;
  for (const auto& entry : TavroDB::forProcess()->audit.recent(200)) {
    const std::string reason = entry.reason.value_or("");
    const bool isEnd = reason.starts_with("approved:") || reason.starts_with("rejected:");
    if (isEnd) list.push_back({reason.substr(reason.find(':') + 1), entry.action});
    if (known.insert(entry.action).second) list.push_back({entry.action});
  }
  return list;
}

List modes() { return words({"panic", "copilote", "yolo"}); }
List decisions() { return words({"allow", "ask", "deny"}); }
List shells() { return words({"bash", "zsh", "fish"}); }

// ---- Where it may stand.

struct Place {
  const char* where;  // the verb, or the option before
  List (*list)();
  bool isRepeated = false;  // also behind the first argument
};

constexpr std::array places = {
    Place{"run", tools},
    Place{"tools", tools},
    Place{"rule test", tools},
    Place{"--tool", tools},
    Place{"pending", queued},
    Place{"approve", queued, true},
    Place{"reject", queued, true},
    Place{"why", explained},
    Place{"rule rm", rules, true},
    Place{"rule enable", rules, true},
    Place{"rule disable", rules, true},
    Place{"--decision", decisions},
    Place{"answer", questions},
    Place{"feedback list", feedback},
    Place{"feedback rm", feedback, true},
    Place{"--automation", loops},
    Place{"auto log", loops},
    Place{"auto edit", loops},
    Place{"auto enable", loops, true},
    Place{"auto disable", loops, true},
    Place{"auto run", loops, true},
    Place{"auto rm", loops, true},
    Place{"auto stop", loops, true},
    Place{"auto attach", loops},
    Place{"auto-run", loops},
    Place{"mode", modes},
    Place{"install", clients},
    Place{"access set", subjects},
    Place{"imap password", logins},
    Place{"imap verify", logins},
    Place{"completion", shells},
};

List at(const std::string& where, std::size_t argumentsBefore) {
  const auto* place =
      std::find_if(places.begin(), places.end(), [&](const Place& each) { return where == each.where; });
  if (place == places.end() || (argumentsBefore > 0 && !place->isRepeated)) return {};
  return place->list();
}

List verbs(const std::vector<Verb>& table) {
  List list;
  for (const auto& verb : table)
    if (!verb.isForPrograms) list.push_back({verb.name, verb.summary});
  return list;
}

/// Of a verb: its options, without --help, which all have.
List options(const Verb& verb) {
  CLI::App command;
  const Work keepsRecords = verb.declare ? verb.declare(command) : nullptr;
  List list;
  for (const CLI::Option* option : command.get_options()) {
    for (const auto& name : option->get_lnames())
      if (name != "help") list.push_back({"--" + name, option->get_description()});
  }
  return list;
}

void append(List& list, const List& more) { list.insert(list.end(), more.begin(), more.end()); }

}  // namespace

std::vector<Candidate> Candidates::after(const std::vector<std::string>& words) noexcept try {
  if (!words.empty() && words.back().starts_with("--")) return at(words.back(), 0);
  const std::vector<Verb>* table = &Verbs::all();
  const Verb* last = nullptr;
  std::string path;
  std::size_t depth = 0;
  for (; depth < words.size(); ++depth) {
    const auto verb =
        std::find_if(table->begin(), table->end(), [&](const Verb& each) { return words[depth] == each.name; });
    if (verb == table->end()) break;
    path += (path.empty() ? "" : " ") + words[depth];
    last = &*verb;
    table = &verb->children;
  }
  List list = at(path, words.size() - depth);
  if (depth == words.size()) append(list, verbs(*table));
  if (last) append(list, options(*last));
  return list;
} catch (...) {
  return {};
}
