#include "TavroCLI/DoctorVerb.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "Platform/Json.h"
#include "TavroCLI/Display.h"
#include "TavroCLI/Doctor.h"
#include "TavroCLI/Terminal.h"

namespace {

struct StateWords {
  const char* name;
  Terminal::Style style;
};

StateWords words(Doctor::State state) {
  switch (state) {
    case Doctor::State::good:
      return {"ok", Terminal::Style::green};
    case Doctor::State::note:
      return {"note", Terminal::Style::yellow};
    case Doctor::State::bad:
      break;
  }
  return {"BAD", Terminal::Style::red};
}

std::vector<Doctor::Finding> look() {
  std::vector<Doctor::Finding> findings;
  for (const auto& check : Doctor::checks()) {
    const Terminal::Progress progress(std::string("looking at ") + check.area);
    for (auto& finding : check.look()) {
      finding.area = check.area;
      findings.push_back(std::move(finding));
    }
  }
  return findings;
}

void asJson(const std::vector<Doctor::Finding>& findings) {
  std::vector<OrderedJson> records;
  for (const auto& finding : findings) {
    OrderedJson record = {{"area", finding.area}, {"state", words(finding.state).name}, {"text", finding.text}};
    if (!finding.remedy.empty()) record["remedy"] = finding.remedy;
    records.push_back(std::move(record));
  }
  Display::list(records);
}

/// A line each; on a terminal what mends it stands below, in one piece, for it may be a command.
void asLines(const std::vector<Doctor::Finding>& findings) {
  if (!Terminal::outputIsTerminal()) {
    std::vector<Display::Cells> rows;
    for (const auto& finding : findings)
      rows.push_back({{words(finding.state).name}, {finding.area}, {finding.text}, {finding.remedy}});
    return Display::list({}, rows);
  }
  constexpr std::size_t margin = 6;
  const std::size_t room = std::max(Terminal::columns(), margin + 20) - margin - 2;
  for (const auto& finding : findings) {
    const auto [name, style] = words(finding.state);
    std::string mark = name;
    mark.resize(margin, ' ');
    mark = Terminal::styled(mark, style);
    for (const auto& line : Display::lines(Display::harmless(finding.area + ": " + finding.text), room))
      Terminal::print(std::exchange(mark, std::string(margin + 2, ' ')) + line + "\n");  // unlike what mends it
    if (!finding.remedy.empty())
      Terminal::print("      → " + Terminal::styled(Display::harmless(finding.remedy), Terminal::Style::bold) + "\n");
  }
}

ExitStatus diagnose(bool json) {
  const auto findings = look();
  json ? asJson(findings) : asLines(findings);
  const bool isSound = std::none_of(findings.begin(), findings.end(),
                                    [](const Doctor::Finding& finding) { return finding.state == Doctor::State::bad; });
  return isSound ? ExitStatus::done : ExitStatus::failed;
}

}  // namespace

namespace DoctorVerb {

Work doctor(CLI::App& command) {
  auto json = std::make_shared<bool>(false);
  command.add_flag("--json", *json, "Print JSON");
  command.footer("Exit status: 0 when nothing is BAD, else 1.\n");
  return [json] { return diagnose(*json); };
}

}  // namespace DoctorVerb
