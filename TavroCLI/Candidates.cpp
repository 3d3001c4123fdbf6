#include "TavroCLI/Candidates.h"

#include <algorithm>
#include <array>
#include <iterator>

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
    Place{"why", queued},
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

}  // namespace

std::vector<Candidate> Candidates::after(const std::vector<std::string>& words) noexcept try {
  if (!words.empty() && words.back().starts_with("--")) return at(words.back(), 0);
  const std::vector<Verb>* table = &Verbs::all();
  std::string path;
  std::size_t depth = 0;
  for (; depth < words.size(); ++depth) {
    const auto verb =
        std::find_if(table->begin(), table->end(), [&](const Verb& each) { return words[depth] == each.name; });
    if (verb == table->end()) break;
    path += (path.empty() ? "" : " ") + words[depth];
    table = &verb->children;
  }
  List list = at(path, words.size() - depth);
  if (depth == words.size())
    for (auto& verb : verbs(*table)) list.push_back(std::move(verb));
  return list;
} catch (...) {
  return {};
}
