#include "Platform/linux/timers/UserManager.h"

#include <fmt/format.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>

#include "Platform/Environment.h"
#include "Platform/Files.h"
#include "Platform/Process.h"
#include "Platform/Text.h"
#include "Platform/linux/timers/SystemdUnits.h"

namespace {

using std::string;
using std::filesystem::path;

path unitDirectory() { return Environment::userConfigDirectory() / "systemd/user"; }
path servicePath(const string& label) { return unitDirectory() / (JobName::escaped(label) + ".service"); }
string timerName(const string& label) { return JobName::escaped(label) + ".timer"; }
path timerPath(const string& label) { return unitDirectory() / timerName(label); }

/// An agent's client starts us with hardly any variables, and systemctl finds the manager by this one.
std::map<string, string> sessionVariables() {
  if (Environment::value("XDG_RUNTIME_DIR")) return {};
  const auto directory = "/run/user/" + std::to_string(::getuid());
  struct stat entry {};
  if (::stat(directory.c_str(), &entry) != 0 || entry.st_uid != ::getuid()) return {};
  return {{"XDG_RUNTIME_DIR", directory}};
}

constexpr auto patience = std::chrono::seconds(10);

/// A manager that doesn't answer mustn't hold us up for good.
Process::Result systemctl(const std::vector<string>& words) try {
  std::vector<string> arguments = {"--user", "--no-pager", "--no-ask-password"};
  arguments.insert(arguments.end(), words.begin(), words.end());
  return Process::run({.program = "systemctl",
                       .arguments = arguments,
                       .input = "",
                       .environment = sessionVariables(),
                       .limit = patience});
} catch (const Process::LaunchFailure& failure) {  // a computer without systemd
  return {.status = {.exited = true, .code = 127}, .output = "", .errors = failure.description()};
}

void require(const std::vector<string>& words) {
  const auto result = systemctl(words);
  if (result.status.ok()) return;
  if (!result.status.exited)
    throw Error(fmt::format("systemctl --user {} isn't done after {} seconds", words.front(), patience.count()));
  const string said(Text::trim(result.errors));
  throw Error("systemctl --user " + words.front() +
              " failed: " + (said.empty() ? "status " + std::to_string(result.status.code) : Text::repairUTF8(said)));
}

/// Paths with blanks come quoted.
bool namesPath(string list, const path& wanted) {
  for (const char mark : {'"', '\\'}) std::erase(list, mark);
  return (" " + list + " ").find(" " + wanted.native() + " ") != string::npos;
}

/// When a timer last ran, by which systemd knows what it missed. A job that is loaded hasn't missed anything yet.
void forgetLastRun(const string& label) {
  const auto stamps = Environment::userDataDirectory() / "systemd/timers";
  Files::remove(stamps / ("stamp-" + timerName(label)));
}

void start(const LaunchJob& job) {
  require({"daemon-reload"});
  if (Files::exists(timerPath(job.label))) require({"enable", "--now", "--", timerName(job.label)});
  const auto service = servicePath(job.label).filename().string();
  if (job.runAtLoad) require({"enable", "--", service});
  if (job.runAtLoad) require({"start", "--no-block", "--", service});
}

JobReport report(const LaunchJob& job) {
  JobReport report{.job = job, .manager = "systemd"};
  const auto shown = systemctl({"show", "--property=MainPID", "--property=ExecMainStatus", "--property=ExecMainCode",
                                "--", servicePath(job.label).filename()});
  long long code = 0, status = 0;
  for (const auto line : Text::lines(shown.output)) {
    const auto value = Text::parseInteger(line.substr(std::min(line.size(), line.find('=') + 1))).value_or(0);
    if (line.starts_with("MainPID=") && value > 0) report.process = static_cast<pid_t>(value);
    if (line.starts_with("ExecMainCode=")) code = value;
    if (line.starts_with("ExecMainStatus=")) status = value;
  }
  if (code != 0) report.lastStatus = static_cast<int>(code == CLD_EXITED ? status : -status);  // else none has ended
  return report;
}

}  // namespace

bool UserManager::answers() {
  const auto shown = systemctl({"show", "--property=UnitPath"});
  if (!shown.status.ok()) return false;
  // One of another home, as in a test, has no use for our units.
  for (const auto line : Text::lines(shown.output))
    if (line.starts_with("UnitPath=")) return namesPath(string(line.substr(9)), unitDirectory());
  return false;
}

bool UserManager::isLoaded(const string& label) {
  const auto job = SystemdUnits::jobOf(Files::readIfPossible(servicePath(label)).value_or(""));
  return job && job->label == label;
}

void UserManager::load(const LaunchJob& job) {
  const auto service = SystemdUnits::service(job);
  const auto timer = SystemdUnits::timer(job);
  if (Files::exists(servicePath(job.label)) && !isLoaded(job.label))
    throw Error("there is a unit of another job or maker: " + servicePath(job.label).string());
  Files::createDirectories(unitDirectory());
  forgetLastRun(job.label);
  try {
    Files::replace(servicePath(job.label), service);
    if (!timer.empty()) Files::replace(timerPath(job.label), timer);
    start(job);
  } catch (const Error&) {
    unload(job.label);
    throw;
  }
}

bool UserManager::unload(const string& label) {
  if (!isLoaded(label)) return false;
  const auto service = servicePath(label).filename().string();
  systemctl({"disable", "--now", "--", timerName(label)});
  systemctl({"disable", "--", service});  // without --now: its run goes on
  // What the manager does on `disable`, for when none answers.
  Files::remove(unitDirectory() / "timers.target.wants" / timerName(label));
  Files::remove(unitDirectory() / "default.target.wants" / service);
  Files::remove(timerPath(label));
  Files::remove(servicePath(label));
  systemctl({"daemon-reload"});
  forgetLastRun(label);
  return true;
}

std::vector<JobReport> UserManager::reports() {
  std::vector<JobReport> reports;
  for (const auto& name : Files::listIfPossible(unitDirectory())) {
    if (!name.ends_with(".service")) continue;
    const auto job = SystemdUnits::jobOf(Files::readIfPossible(unitDirectory() / name).value_or(""));
    if (job && servicePath(job->label).filename() == name) reports.push_back(report(*job));
  }
  return reports;
}
