#include "TavroCLI/AuditVerbs.h"

#include <algorithm>
#include <memory>

#include "Platform/Json.h"
#include "TavroCLI/Display.h"
#include "TavroCLI/Owner.h"
#include "TavroCLI/Terminal.h"
#include "TavroCLI/Usage.h"
#include "TavroCore/harness/TavroDB.h"

namespace {

Terminal::Style style(const std::string& outcome) {
  if (outcome == "executed") return Terminal::Style::green;
  if (outcome == "pending_approval") return Terminal::Style::yellow;
  return outcome == "error" || outcome == "denied" ? Terminal::Style::red : Terminal::Style::plain;
}

struct Query {
  std::string text;
  std::string limit = "50";
  bool json = false;

  ExitStatus run() const {
    AuditDB& audit = TavroDB::forProcess()->audit;
    const long long most = Usage::wholeNumber("--limit", limit);
    const auto entries = text.empty() ? audit.recent(most) : audit.search(text, most);
    json ? asJson(entries) : asTable(entries);
    return ExitStatus::done;
  }

  static void asJson(const std::vector<AuditEntry>& entries) {
    std::vector<OrderedJson> records;
    for (const auto& entry : entries) records.push_back(toJson(entry));
    Display::list(records);
  }

  static void asTable(const std::vector<AuditEntry>& entries) {
    std::vector<Display::Cells> rows;
    for (const auto& entry : entries) {
      rows.push_back({{entry.timestamp},
                      {entry.actor},
                      {entry.action, Terminal::Style::bold},
                      {entry.outcome, style(entry.outcome)},
                      {entry.reason.value_or("")},
                      {Display::pairs(entry.details)}});
    }
    Display::list({"TIME", "ACTOR", "ACTION", "OUTCOME", "REASON", "DETAILS"}, rows);
    if (rows.empty()) Terminal::say("no audit line fits");
  }
};

struct Purge {
  std::string days;
  Owner::Consent consent;

  ExitStatus run() const {
    constexpr long long allOfHistory = 1'000'000;  // days; more would leave the calendar
    const long long age = std::min(Usage::wholeNumber("--older-than", days), allOfHistory);
    if (!consent.ask("", "Delete all audit lines older than " + std::to_string(age) + " days for good?")) {
      Terminal::say("no line was deleted");
      return ExitStatus::failed;
    }
    const long long deleted = TavroDB::forProcess()->audit.purgeOlderThan(age);
    Terminal::print(std::to_string(deleted) + (deleted == 1 ? " line deleted\n" : " lines deleted\n"));
    return ExitStatus::done;
  }
};

}  // namespace

namespace AuditVerbs {

Work audit(CLI::App& command) {
  auto query = std::make_shared<Query>();
  command.add_option("TEXT", query->text, "Only lines that hold this text; % and _ stand for any text and character");
  command.add_option("--limit", query->limit, "At most so many lines, the newest (50)");
  command.add_flag("--json", query->json, "Print JSON");
  return [query] { return query->run(); };
}

Work purge(CLI::App& command) {
  auto purge = std::make_shared<Purge>();
  command.add_option("--older-than", purge->days, "Age in days")->required();
  purge->consent.declare(command, "audit purge");
  return [purge] {
    purge->consent.requireOwner();
    return purge->run();
  };
}

}  // namespace AuditVerbs
