#include "TavroCLI/FeedbackVerbs.h"

#include <algorithm>
#include <iterator>
#include <memory>

#include "Platform/Json.h"
#include "Platform/Text.h"
#include "TavroCLI/Ages.h"
#include "TavroCLI/Display.h"
#include "TavroCLI/Loops.h"
#include "TavroCLI/Nearest.h"
#include "TavroCLI/Owner.h"
#include "TavroCLI/Terminal.h"
#include "TavroCLI/Usage.h"
#include "TavroCore/automations/VendryEngine.h"
#include "TavroCore/harness/LoopName.h"
#include "TavroCore/harness/TavroDB.h"
#include "TavroCore/harness/Timestamps.h"

namespace {

FeedbackDB& feedback() {
  return TavroDB::forProcess()->feedback;  // the process's connection lives until the end
}

struct StateWords {
  const char* name;
  Terminal::Style style;
};

StateWords state(const FeedbackItem& item) {
  switch (item.kind) {
    case FeedbackItem::Kind::directive:
      return {"directive", Terminal::Style::plain};
    case FeedbackItem::Kind::verdict:
      return {"verdict", Terminal::Style::plain};
    case FeedbackItem::Kind::question:
      break;
  }
  if (item.isOpen()) return {"open", Terminal::Style::yellow};
  if (item.injectedAt) return {"delivered", Terminal::Style::dim};
  return {"answered", Terminal::Style::green};
}

std::string audience(const FeedbackItem& item) {
  // A question that was asked outside a run is nobody's, while an order without a name is to everybody.
  return item.automation.value_or(item.kind == FeedbackItem::Kind::question ? "" : "(all)");
}

/// What was said. On a terminal a question with an answer leaves room for it.
std::string words(const FeedbackItem& item) {
  if (!item.answer) return item.text;
  constexpr std::size_t room = 40;
  const std::string question = Display::harmless(item.text);
  return (Terminal::outputIsTerminal() ? Display::clipped(question, room) : question) + " → " + *item.answer;
}

void tellOfUnreadable(const std::vector<std::string>& ids) {
  for (const auto& id : ids) {
    Terminal::say("tavro: " + (id.empty() ? "an item whose id can't be read can't be read either"
                                          : "the item " + id + " can't be read; `tavro feedback rm` removes it"));
  }
}

/// As the tools and the mails show it too: "#1A2B3C4D", "[tavro#1A2B3C4D]".
std::string bareId(std::string typed) {
  typed.erase(0, typed.find('#') + 1);  // nothing where there is none
  if (typed.ends_with(']')) typed.pop_back();
  return typed;
}

/// The item of that id among these. Throws CommandError.
FeedbackItem named(const std::vector<FeedbackItem>& items, const std::string& typed, const std::string& kind) {
  std::vector<std::string> known;
  std::transform(items.begin(), items.end(), std::back_inserter(known), [](const auto& item) { return item.id; });
  const std::string id = Nearest::id(kind, bareId(typed), known);
  return *std::find_if(items.begin(), items.end(), [&](const auto& item) { return item.id == id; });
}

struct Listing {
  std::string id;
  std::optional<std::string> automation = std::nullopt;
  bool open = false;
  bool json = false;

  ExitStatus run() const {
    auto [items, unreadable] = feedback().list(automation);
    if (open) std::erase_if(items, [](const auto& item) { return !item.isOpen(); });
    json ? asJson(items) : asTable(items);
    tellOfUnreadable(unreadable);
    return unreadable.empty() ? ExitStatus::done : ExitStatus::failed;
  }

  ExitStatus one() const {
    const auto item = named(feedback().list(std::nullopt).items, id, "feedback");
    if (json) {
      Display::show(toJson(item));
      return ExitStatus::done;
    }
    std::vector<Display::Field> fields = {{"item", item.id}, {"state", state(item).name}};
    if (!audience(item).empty()) fields.push_back({"automation", audience(item)});
    fields.push_back({"since", Ages::listed(item.createdAt)});
    if (item.expiresAt) fields.push_back({"expires", Ages::listed(*item.expiresAt)});
    fields.push_back({"text", item.text});
    if (item.answer) fields.push_back({"answer", *item.answer});
    Display::print(fields);
    return ExitStatus::done;
  }

  static void asJson(const std::vector<FeedbackItem>& items) {
    std::vector<OrderedJson> records;
    for (const auto& item : items) records.push_back(toJson(item));
    Display::list(records);
  }

  void asTable(const std::vector<FeedbackItem>& items) const {
    std::vector<Display::Cells> rows;
    for (const auto& item : items) {
      rows.push_back({{item.id, Terminal::Style::bold},
                      {state(item).name, state(item).style},
                      {audience(item)},
                      {Ages::listed(item.createdAt)},
                      {item.expiresAt ? Ages::listed(*item.expiresAt) : ""},
                      {words(item)}});
    }
    Display::list({"ID", "STATE", "AUTOMATION", "SINCE", "EXPIRES", "TEXT"}, rows);
    if (rows.empty()) Terminal::say(open ? "no question is open" : "there is no feedback");
  }
};

/// The words of a text without quotes, as one; nothing when there is none. A list option of CLI11 would take the
/// brackets off a word, so all but the first are what it doesn't know.
std::optional<std::string> joined(const std::optional<std::string>& first, const CLI::App& command) {
  std::string text = first.value_or("");
  for (const auto& word : command.remaining()) {
    if (word == "--") continue;
    if (word.starts_with('-')) Usage::wrong("there is no option " + word + "; a TEXT that holds it wants quotes");
    text += " " + word;
  }
  return first ? std::optional(text) : std::nullopt;
}

/// The text of the command line, or of standard input where it is "-" or left out. Repaired, and never blank.
std::string spoken(const std::optional<std::string>& typed, const std::string& what) {
  const bool isTyped = typed && *typed != "-";
  if (!typed && Terminal::inputIsTerminal())
    Usage::wrong("what is the " + what + "? Give it as TEXT, or on standard input");
  std::string text = Text::repairUTF8(isTyped ? *typed : Terminal::wholeInput());
  while (!isTyped && (text.ends_with('\n') || text.ends_with('\r'))) text.pop_back();
  if (Text::trim(text).empty()) Usage::wrong("the " + what + " is empty");
  return text;
}

struct Telling {
  std::optional<std::string> text = std::nullopt;
  std::optional<std::string> automation = std::nullopt;
  std::optional<std::string> expiresHours = std::nullopt;

  std::optional<std::string> expiry() const {
    if (!expiresHours) return std::nullopt;
    return FeedbackItem::expiryAfter(Usage::wholeNumber("--expires-hours", *expiresHours, 1));
  }

  ExitStatus run() const {
    if (automation && automation->empty()) Usage::wrong("--automation is empty; leave it out to tell every automation");
    if (automation && !isSafeLoopName(*automation)) Usage::wrong("no automation can be named \"" + *automation + "\"");
    if (automation && !VendryEngine::find(*automation))
      Terminal::say("tavro: warning: the order is kept, but there is " + Loops::absence(*automation));
    FeedbackItem order{.automation = automation, .expiresAt = expiry(), .source = "cli"};
    order.text = spoken(text, "order");
    order.createdAt = Timestamps::now();
    do {
      order.id = feedback().freshId();
    } while (!feedback().add(order));
    Terminal::print(order.id + "\n");
    return ExitStatus::done;
  }
};

/// What `rm` goes by: rows that can't be read are removed like the others.
struct Removable {
  std::string id;
  std::string line;
};

std::vector<Removable> removable() {
  std::vector<Removable> all;
  const auto [items, unreadable] = feedback().list(std::nullopt);
  for (const auto& item : items) all.push_back({item.id, std::string(state(item).name) + ": " + words(item)});
  for (const auto& id : unreadable) {
    if (!id.empty()) all.push_back({id, "can't be read"});
  }
  return all;
}

struct Removal {
  std::vector<std::string> ids;
  Owner::Consent consent = {};

  /// All are looked up before anything is removed.
  std::vector<Removable> selected() const {
    const auto all = removable();
    std::vector<std::string> known;
    std::transform(all.begin(), all.end(), std::back_inserter(known), [](const auto& each) { return each.id; });
    std::vector<Removable> result;
    for (const auto& typed : ids) {
      const std::string id = Nearest::id("feedback", bareId(typed), known);
      if (std::any_of(result.begin(), result.end(), [&](const auto& each) { return each.id == id; })) continue;
      result.push_back(*std::find_if(all.begin(), all.end(), [&](const auto& each) { return each.id == id; }));
    }
    return result;
  }

  ExitStatus run() const {
    const auto chosen = selected();
    std::string matter;
    for (const auto& each : chosen) {
      matter += "  " + Display::harmless(each.id) + "  " + Display::harmless(each.line) + "\n";
    }
    if (!consent.ask(matter, "Remove for good?")) {
      Terminal::say("nothing was removed");
      return ExitStatus::failed;
    }
    ExitStatus status = ExitStatus::done;
    for (const auto& each : chosen) {
      if (feedback().remove(each.id)) continue;
      Terminal::say("tavro: the feedback " + each.id + " has gone meanwhile");
      status = ExitStatus::failed;
    }
    return status;
  }
};

struct Reply {
  std::string id;
  std::optional<std::string> text = std::nullopt;

  FeedbackItem question() const {
    auto items = feedback().list(std::nullopt).items;
    std::erase_if(items, [](const auto& item) { return item.kind != FeedbackItem::Kind::question; });
    return named(items, id, "question");
  }

  ExitStatus run() const {
    const FeedbackItem asked = question();
    if (!asked.isOpen()) {
      throw CommandError(ExitStatus::failed, "the question " + asked.id + " was answered " +
                                                 Ages::told(asked.answeredAt.value_or("before")) + ": " +
                                                 Display::harmless(*asked.answer));
    }
    if (!text && Terminal::inputIsTerminal()) Terminal::say(Display::harmlessLines(asked.text));
    if (!feedback().answer(asked.id, spoken(text, "answer"))) {
      throw CommandError(ExitStatus::failed, "the question " + asked.id + " has been answered or removed meanwhile");
    }
    Terminal::say("the answer to " + asked.id + " is kept; " +
                  (asked.automation ? *asked.automation + " reads it at its next run"
                                    : "it was asked outside a run, so no run will read it"));
    return ExitStatus::done;
  }
};

constexpr const char* fromInput = "TEXT is standard input when it is - or left out.\n";

}  // namespace

namespace FeedbackVerbs {

Work list(CLI::App& command) {
  auto listing = std::make_shared<Listing>();
  command.add_option("ID", listing->id, "Show this item whole; the first characters of its id will do");
  command.add_option("--automation", listing->automation, "What concerns this automation, or all of them");
  command.add_flag("--open", listing->open, "Only questions that wait for an answer");
  command.add_flag("--json", listing->json, "Print JSON");
  return [listing] { return listing->id.empty() ? listing->run() : listing->one(); };
}

Work tell(CLI::App& command) {
  auto telling = std::make_shared<Telling>();
  command.add_option("TEXT", telling->text, "The order; it stands in every prompt until it expires or is removed");
  command.add_option("--automation", telling->automation, "Tell this automation alone");
  command.add_option("--expires-hours", telling->expiresHours, "Let it expire after so many hours");
  command.footer(fromInput);
  command.allow_extras();
  return [telling, &command] {
    Owner::require("feedback tell");
    telling->text = joined(telling->text, command);
    return telling->run();
  };
}

Work remove(CLI::App& command) {
  auto removal = std::make_shared<Removal>();
  command.add_option("ID", removal->ids, "Id of an item; its first characters will do")->required();
  removal->consent.declare(command, "feedback rm");
  return [removal] {
    removal->consent.requireOwner();
    return removal->run();
  };
}

Work answer(CLI::App& command) {
  auto reply = std::make_shared<Reply>();
  command.add_option("ID", reply->id, "Id of a question; its first characters will do")->required();
  command.add_option("TEXT", reply->text, "What the automation reads at its next run");
  command.footer(fromInput);
  command.allow_extras();
  return [reply, &command] {
    Owner::require("answer");
    reply->text = joined(reply->text, command);
    return reply->run();
  };
}

}  // namespace FeedbackVerbs
