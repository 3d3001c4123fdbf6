// launchctl: loads jobs from property lists and takes them out again, as the program of this name does on macOS. Where
// the user's systemd runs, jobs become its timers; elsewhere our own launchd times them. Messages and exit statuses are
// what callers of that program are used to.
#include <fmt/format.h>
#include <unistd.h>

#include <functional>
#include <iostream>
#include <map>
#include <optional>

#include "Platform/Files.h"
#include "Platform/Json.h"
#include "Platform/PropertyList.h"
#include "Platform/Text.h"
#include "Platform/linux/timers/JobEnvironment.h"
#include "Platform/linux/timers/LaunchdJobs.h"
#include "Platform/linux/timers/UserManager.h"

namespace {

using std::string;
using Words = std::vector<string>;

constexpr const char* usage =
    "Usage: launchctl bootstrap gui/<uid> <property list>...\n"
    "       launchctl bootout gui/<uid> <property list>... | gui/<uid>/<label>\n"
    "       launchctl print gui/<uid>/<label>\n"
    "       launchctl list\n";

enum Number {
  noSuchFile = ENOENT,
  noSuchProcess = ESRCH,
  isLoadedAlready = EIO,
  invalid = EINVAL,
  noDomain = 112,
  noService = 113,
  wrongUsage = 64
};

/// Ends a command with this number as its status.
struct Refusal : Error {
  Refusal(int code, const string& reason) : Error(reason), number(code) {}
  int number;
};

struct Target {
  string domain;
  string label;  // empty: the domain itself
};

Target target(const string& text) {
  const string domain = fmt::format("gui/{}", ::getuid());
  if (text == domain) return {domain, ""};
  if (text.starts_with(domain + "/")) return {domain, text.substr(domain.size() + 1)};
  throw Refusal(noDomain,
                fmt::format("Could not find domain for {}: there is {} alone", Text::repairUTF8(text), domain));
}

LaunchJob jobOf(const string& file) {
  std::optional<string> bytes;
  try {
    bytes = Files::read(file);
  } catch (const FileFailure& failure) {
    throw Refusal(failure.errorNumber(), failure.description());
  }
  if (!bytes) throw Refusal(noSuchFile, "No such file or directory: " + file);
  const auto list = PropertyList::parse(*bytes);
  if (!list) throw Refusal(invalid, "Invalid argument: no property list: " + file);
  try {
    return LaunchJob::read(*list);
  } catch (const Error& error) {
    throw Refusal(invalid, fmt::format("Invalid argument: {}: {}", file, error.description()));
  }
}

bool isLoaded(const string& label) { return UserManager::isLoaded(label) || LaunchdJobs::isLoaded(label); }

/// A job whose list is gone or damaged is known by the list's name, which by custom is its label.
string labelOf(const string& file) {
  try {
    return jobOf(file).label;
  } catch (const Refusal&) {
    const auto label = std::filesystem::path(file).stem().string();
    if (isLoaded(label)) return label;
    throw;
  }
}

/// A job has one timer: what the other one knows of it goes.
void load(const string& file) {
  auto job = jobOf(file);
  job.environment.merge(JobEnvironment::places());  // what the list itself sets stays
  const bool bySystemd = UserManager::answers();
  const auto lock = LaunchdJobs::lockChanges();
  if (bySystemd ? UserManager::isLoaded(job.label) : LaunchdJobs::isLoaded(job.label))
    throw Refusal(isLoadedAlready, "Input/output error");  // which is how it is told on macOS
  if (bySystemd) {
    UserManager::load(job);
    LaunchdJobs::unload(job.label);
  } else {
    LaunchdJobs::load(job);
    UserManager::unload(job.label);
  }
}

void unload(const string& label) {
  if (!isLoaded(label)) throw Refusal(noSuchProcess, "No such process");
  const auto lock = LaunchdJobs::lockChanges();
  UserManager::unload(label);
  LaunchdJobs::unload(label);
}

/// Does the work and tells its failure, "Bootstrap failed: 5: Input/output error"; its status.
int attempt(const char* what, const std::function<void()>& work) {
  try {
    work();
    return 0;
  } catch (const Refusal& refusal) {
    std::cerr << fmt::format("{} failed: {}: {}\n", what, refusal.number, refusal.description());
    return refusal.number;
  } catch (const Error& error) {
    std::cerr << fmt::format("{} failed: {}: Input/output error: {}\n", what, int{isLoadedAlready},
                             error.description());
    return isLoadedAlready;
  }
}

int bootstrap(const Words& words) {
  int status = attempt("Bootstrap", [&] {
    if (words.size() < 2 || !target(words[0]).label.empty()) throw Refusal(wrongUsage, "name a domain and lists");
  });
  for (std::size_t at = 1; status == 0 && at < words.size(); ++at)
    status = attempt("Bootstrap", [&] { load(words[at]); });
  return status;
}

int bootout(const Words& words) {
  return attempt("Boot-out", [&] {
    const auto whose = words.empty() ? Target{} : target(words[0]);
    if (whose.label.empty() == (words.size() < 2)) throw Refusal(wrongUsage, "name a job, or a domain and lists");
    if (!whose.label.empty()) return unload(whose.label);
    for (std::size_t at = 1; at < words.size(); ++at) unload(labelOf(words[at]));
  });
}

std::map<string, JobReport> reports() {
  std::map<string, JobReport> reports;
  for (auto& report : UserManager::reports()) reports.emplace(report.job.label, report);
  for (auto& report : LaunchdJobs::reports()) reports.emplace(report.job.label, report);
  return reports;
}

string numberOrDash(const std::optional<int>& number) { return number ? std::to_string(*number) : "-"; }

int list(const Words&) {
  std::cout << "PID\tStatus\tLabel\n";
  for (const auto& [label, report] : reports())
    std::cout << fmt::format("{}\t{}\t{}\n", numberOrDash(report.process), report.lastStatus.value_or(0), label);
  return 0;
}

string described(const JobReport& report) {
  const auto& job = report.job;
  string text = fmt::format("\tactive count = {}\n\tstate = {}\n\ttimed by = {}\n\n\tprogram = {}\n\targuments = {{\n",
                            report.process ? 1 : 0, report.process ? "running" : "not running", report.manager,
                            job.arguments.front());
  for (const auto& word : job.arguments) text += "\t\t" + word + "\n";
  text += "\t}\n";
  if (job.directory) text += "\tworking directory = " + *job.directory + "\n";
  if (job.output) text += "\tstdout path = " + *job.output + "\n";
  if (job.errors) text += "\tstderr path = " + *job.errors + "\n";
  if (job.interval) text += fmt::format("\trun interval = {} seconds\n", job.interval->count());
  const auto list = job.propertyList();
  if (!job.times.empty()) text += "\tcalendar interval = " + list.at("StartCalendarInterval").dump() + "\n";
  if (report.runs) text += fmt::format("\truns = {}\n", *report.runs);
  if (report.process) text += fmt::format("\tpid = {}\n", *report.process);
  return text + "\tlast exit code = " + (report.lastStatus ? std::to_string(*report.lastStatus) : "(never exited)") +
         "\n";
}

int print(const Words& words) {
  try {
    const auto whose = words.size() == 1 ? target(words[0]) : Target{};
    if (whose.label.empty()) throw Refusal(wrongUsage, "name a job: gui/<uid>/<label>");
    const auto all = reports();
    const auto found = all.find(whose.label);
    if (found == all.end())
      throw Refusal(noService, fmt::format("Could not find service \"{}\" in domain for user gui: {}",
                                           Text::repairUTF8(whose.label), ::getuid()));
    std::cout << whose.domain << "/" << whose.label << " = {\n" << described(found->second) << "}\n";
    return 0;
  } catch (const Refusal& refusal) {
    std::cerr << "Bad request.\n" << refusal.description() << "\n";
    return refusal.number;
  }
}

using Command = int (*)(const Words&);
const std::map<string, Command>& commands() {
  static const std::map<string, Command> table = {
      {"bootstrap", bootstrap}, {"bootout", bootout}, {"list", list}, {"print", print}};
  return table;
}

}  // namespace

int main(int count, char** arguments) try {
  const Words words(arguments + 1, arguments + count);
  const auto command = words.empty() ? commands().end() : commands().find(words.front());
  if (command != commands().end()) return command->second({words.begin() + 1, words.end()});
  if (!words.empty()) std::cerr << "Unrecognized subcommand: " << Text::repairUTF8(words.front()) << "\n";
  std::cerr << usage;
  return wrongUsage;
} catch (const Error& error) {
  std::cerr << "launchctl: " << error.description() << "\n";
  return 1;
}
