#include "Platform/linux/timers/LaunchdJobs.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <thread>

#include "Platform/Desktop.h"
#include "Platform/Files.h"
#include "Platform/Json.h"
#include "Platform/Program.h"
#include "Platform/Uuid.h"
#include "Platform/linux/timers/Autostart.h"

namespace {

using namespace std::chrono_literals;
using std::string;
using std::chrono::steady_clock;
using std::filesystem::path;

constexpr const char* suffix = ".json";
constexpr auto longestWait = 10s;

path jobPath(const string& label) { return LaunchdJobs::jobsDirectory() / (JobName::escaped(label) + suffix); }
path stateDirectory() { return LaunchdJobs::directory() / "state"; }
path statePath(const string& label) { return stateDirectory() / (JobName::escaped(label) + suffix); }

Json toJson(const Moment& moment) {
  return {{"wall", moment.wall.time_since_epoch().count()}, {"boot", moment.boot.count()}, {"start", moment.bootId}};
}

/// Within what can be added up without a thought: some thousand years either way.
std::chrono::microseconds microseconds(const Json& value) {
  constexpr std::int64_t most = 1LL << 56;
  if (!value.is_number_integer()) throw Error("no whole number");
  const auto number = value.get<std::int64_t>();
  if (number > most || number < -most) throw Error("beyond all times");
  return std::chrono::microseconds(number);
}

Moment moment(const Json& value) {
  return {Dates::Instant(microseconds(value.at("wall"))), microseconds(value.at("boot")), value.at("start")};
}

Json toJson(const LaunchdJob& entry) {
  return {{"version", 1},
          {"job", entry.job.propertyList()},
          {"load", entry.load},
          {"loaded", toJson(entry.loaded)},
          {"session", entry.session}};
}

Json toJson(const LaunchdState& state) {
  Json value = {{"version", 1},
                {"load", state.load},
                {"handled", toJson(state.handled)},
                {"startedIn", state.startedIn},
                {"runs", state.runs}};
  if (state.lastStatus) value["lastStatus"] = *state.lastStatus;
  if (state.child) value["child"] = {{"process", state.child->process}, {"identity", state.child->identity}};
  return value;
}

LaunchdJob readJob(const Json& value) {
  return {LaunchJob::read(value.at("job")), value.at("load"), moment(value.at("loaded")), value.at("session")};
}

LaunchdState readState(const Json& value) {
  LaunchdState state{value.at("load"), moment(value.at("handled")), value.at("startedIn"), value.at("runs")};
  if (value.contains("lastStatus")) state.lastStatus = value.at("lastStatus").get<int>();
  if (value.contains("child"))
    state.child = {value.at("child").at("process").get<pid_t>(), value.at("child").at("identity").get<string>()};
  return state;
}

/// Nothing for a file that isn't there or can't be understood, whatever it holds.
template <typename Record>
std::optional<Record> read(const path& file, Record (*understand)(const Json&)) {
  try {
    const auto value = JsonText::parseObject(Files::readIfPossible(file).value_or(""));
    if (value) return understand(*value);
  } catch (const std::exception&) {  // ours, or the JSON library's for a missing field or one of another type
  }
  return std::nullopt;
}

std::optional<LaunchdJob> jobAt(const path& file) {
  auto job = read(file, readJob);
  return job && jobPath(job->job.label).filename() == file.filename() ? job : std::nullopt;
}

/// Only once the lock is held does a launchd know of later changes.
void ensureLaunchd() {
  if (FileLock::isHeld(LaunchdJobs::lockFile())) return;
  const auto program = Platform::program("launchd");
  Process::detach({.program = program, .directory = "/"});
  const auto limit = steady_clock::now() + longestWait;
  while (!FileLock::isHeld(LaunchdJobs::lockFile())) {
    if (steady_clock::now() > limit)
      throw Error(fmt::format("launchd isn't up after {} seconds; run {} to see what keeps it", longestWait.count(),
                              program.string()));
    std::this_thread::sleep_for(5ms);
  }
}

void keepAutostartInStep() {
  if (LaunchdJobs::all().empty())
    Autostart::remove();
  else
    Autostart::add();
}

}  // namespace

LaunchdState LaunchdState::of(const LaunchdJob& job) { return {.load = job.load, .handled = job.loaded}; }

bool LaunchdState::isRunning() const { return child && Process::isAlive(*child); }

path LaunchdJobs::directory() { return Desktop::root() / "launchd"; }
path LaunchdJobs::jobsDirectory() { return directory() / "jobs"; }
path LaunchdJobs::lockFile() { return directory() / "launchd.lock"; }

FileLock LaunchdJobs::takeLock(const path& file, std::chrono::seconds patience) {
  Files::createDirectories(jobsDirectory());
  Files::createNew(file, "", 0600, Files::Durability::unflushed);
  for (const auto limit = steady_clock::now() + patience;; std::this_thread::sleep_for(20ms)) {
    FileLock lock(file);
    if (lock.state() != FileLock::State::takenByAnother || steady_clock::now() > limit) return lock;
  }
}

FileLock LaunchdJobs::lockChanges() {
  const auto file = directory() / "changes.lock";
  auto lock = takeLock(file, longestWait);
  if (lock.state() == FileLock::State::held) return lock;
  throw Error(fmt::format("another launchctl has been changing jobs for {} seconds; it holds {}", longestWait.count(),
                          file.string()));
}

void LaunchdJobs::load(const LaunchJob& job) {
  LaunchdJob entry{job, Uuid::random(), Moment::now(), JobEnvironment::session()};
  entry.job.environment.merge(JobEnvironment::habits());  // what the list itself sets stays
  if (jobAt(jobPath(job.label)) && !isLoaded(job.label))
    throw Error("a job of another label has the name " + jobPath(job.label).string());
  Files::replace(jobPath(job.label), JsonText::writePretty(toJson(entry)) + "\n");
  try {
    ensureLaunchd();
  } catch (const Error&) {
    Files::remove(jobPath(job.label));
    throw;
  }
  keepAutostartInStep();
}

bool LaunchdJobs::unload(const string& label) {
  if (!isLoaded(label)) return false;
  const bool wasThere = Files::remove(jobPath(label));
  keepAutostartInStep();
  return wasThere;
}

bool LaunchdJobs::isLoaded(const string& label) {
  const auto job = jobAt(jobPath(label));
  return job && job->job.label == label;
}

std::vector<LaunchdJob> LaunchdJobs::all() {
  std::vector<LaunchdJob> jobs;
  for (const auto& name : Files::listIfPossible(jobsDirectory()))
    if (auto job = jobAt(jobsDirectory() / name)) jobs.push_back(std::move(*job));
  return jobs;
}

std::vector<JobReport> LaunchdJobs::reports() {
  const auto jobs = all();
  if (!jobs.empty()) ensureLaunchd();
  std::vector<JobReport> reports;
  for (const auto& entry : jobs) {
    const auto known = state(entry);
    JobReport report{.job = entry.job, .manager = "launchd", .lastStatus = known.lastStatus, .runs = known.runs};
    if (known.isRunning()) report.process = known.child->process;
    reports.push_back(std::move(report));
  }
  return reports;
}

LaunchdState LaunchdJobs::state(const LaunchdJob& job) {
  const auto known = read(statePath(job.job.label), readState);
  if (known && known->load == job.load) return *known;
  auto fresh = LaunchdState::of(job);
  if (known) fresh.child = known->child;
  return fresh;
}

void LaunchdJobs::write(const string& label, const LaunchdState& state) {
  Files::createDirectories(stateDirectory());
  Files::replace(statePath(label), JsonText::write(toJson(state)) + "\n");
}

void LaunchdJobs::removeOldStates(const std::vector<LaunchdJob>& jobs) {
  for (const auto& name : Files::listIfPossible(stateDirectory())) {
    const auto isOf = [&name](const LaunchdJob& job) { return JobName::escaped(job.job.label) + suffix == name; };
    if (std::any_of(jobs.begin(), jobs.end(), isOf)) continue;
    const auto known = read(stateDirectory() / name, readState);
    if (!known || !known->isRunning()) Files::remove(stateDirectory() / name);
  }
}
