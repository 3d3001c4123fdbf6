// Measures tavro-mcp over its pipes, each figure beside a floor of the same run, and prints a table.
// argv: the directory of the programs, the directory of the floors. Figures are medians.
#include <fcntl.h>
#include <fmt/format.h>
#include <sched.h>
#include <spawn.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/Scratch.h"

namespace {

using Clock = std::chrono::steady_clock;
namespace fs = std::filesystem;

double microseconds(Clock::duration duration) { return std::chrono::duration<double, std::micro>(duration).count(); }

double median(std::vector<double> values) {
  std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2), values.end());
  return values[values.size() / 2];
}

// A line server at the other end of two pipes.
class Child {
 public:
  explicit Child(std::vector<std::string> command) {
    int in[2];
    int out[2];
    if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], 0);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    std::vector<char*> argv;
    for (std::string& word : command) argv.push_back(word.data());
    argv.push_back(nullptr);
    if (posix_spawn(&process_, argv[0], &actions, nullptr, argv.data(), environ) != 0)
      throw std::runtime_error("can't start " + command[0]);
    posix_spawn_file_actions_destroy(&actions);
    close(in[0]);
    close(out[1]);
    to_ = in[1];
    from_ = out[0];
  }
  ~Child() {
    close(to_);
    close(from_);
    waitpid(process_, nullptr, 0);
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  std::string ask(const std::string& line) {
    const std::string sent = line + "\n";
    if (write(to_, sent.data(), sent.size()) != static_cast<ssize_t>(sent.size()))
      throw std::runtime_error("no reader");
    while (pending_.find('\n') == std::string::npos) {
      char buffer[65536];
      const ssize_t count = read(from_, buffer, sizeof buffer);
      if (count <= 0) throw std::runtime_error("no reply to " + line);
      pending_.append(buffer, static_cast<std::size_t>(count));
    }
    const auto end = pending_.find('\n');
    std::string reply = pending_.substr(0, end);
    pending_.erase(0, end + 1);
    return reply;
  }

  double cpuMicroseconds() const {
    clockid_t clock{};
    timespec time{};
    if (clock_getcpuclockid(process_, &clock) != 0 || clock_gettime(clock, &time) != 0)
      throw std::runtime_error("no CPU clock");
    return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_nsec) / 1e3;
  }

  double pssKiB() const {
    std::ifstream rollup(fmt::format("/proc/{}/smaps_rollup", process_));
    for (std::string line; std::getline(rollup, line);)
      if (line.starts_with("Pss:")) return std::strtod(line.c_str() + 4, nullptr);
    throw std::runtime_error("no smaps_rollup");
  }

 private:
  pid_t process_ = 0;
  int to_ = -1;
  int from_ = -1;
  std::string pending_;
};

struct Cost {
  double cpu = 0;  // microseconds a request
  double wall = 0;
};

struct Pair {
  Cost ours;
  Cost floor;
};

Cost costOf(Child& child, const std::string& line, int count) {
  const double cpuBefore = child.cpuMicroseconds();
  const auto before = Clock::now();
  for (int i = 0; i < count; ++i) child.ask(line);
  return {.cpu = (child.cpuMicroseconds() - cpuBefore) / count, .wall = microseconds(Clock::now() - before) / count};
}

Cost medianOf(const std::vector<Cost>& costs) {
  std::vector<double> cpu;
  std::vector<double> wall;
  for (const Cost& cost : costs) {
    cpu.push_back(cost.cpu);
    wall.push_back(cost.wall);
  }
  return {.cpu = median(cpu), .wall = median(wall)};
}

// The two take turns, so that what else the machine does falls on both.
Pair compare(Child& ours, Child& floor, const std::string& line, int rounds, int count) {
  ours.ask(line);
  floor.ask(line);
  std::vector<Cost> oursCosts;
  std::vector<Cost> floorCosts;
  for (int round = 0; round < rounds; ++round) {
    oursCosts.push_back(costOf(ours, line, count));
    floorCosts.push_back(costOf(floor, line, count));
  }
  return {.ours = medianOf(oursCosts), .floor = medianOf(floorCosts)};
}

double startOnce(const std::vector<std::string>& command, const std::string& line) {
  const auto before = Clock::now();
  Child child(command);
  child.ask(line);
  return microseconds(Clock::now() - before);
}

std::pair<double, double> compareStarts(const std::string& ours, const std::vector<std::string>& floor,
                                        const std::string& line) {
  std::vector<double> oursTimes;
  std::vector<double> floorTimes;
  for (int round = 0; round < 101; ++round) {
    oursTimes.push_back(startOnce({ours}, line));
    floorTimes.push_back(startOnce(floor, line));
  }
  return {median(oursTimes), median(floorTimes)};
}

/// Deny rules: a single one fits every call that we make, many fit none.
void addRules(const fs::path& file, int count) {
  sqlite3* database = nullptr;
  if (sqlite3_open(file.c_str(), &database) != SQLITE_OK) throw std::runtime_error("no database");
  sqlite3_exec(database, "BEGIN", nullptr, nullptr, nullptr);
  for (int i = 0; i < count; ++i) {
    const std::string sql = fmt::format(
        "INSERT INTO policy_rules VALUES ('{} {:07}', 1, NULL, 'finder.*', '{{\"path\":\"{}\"}}', 'deny', 'user', "
        "'2026-03-14T{:02}:{:02}:{:02}Z')",
        count, i, count == 1 ? "/" : "nowhere" + std::to_string(i), i / 3600, i / 60 % 60, i % 60);
    if (sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK)
      throw std::runtime_error("no rule");
  }
  sqlite3_exec(database, "COMMIT", nullptr, nullptr, nullptr);
  sqlite3_close(database);
}

void row(const std::string& what, const std::string& ours, const std::string& floor, double figure, double goal,
         const std::string& unit) {
  fmt::print("{:<34}{:>14}{:>14}{:>10.2f}{:<4}{:>8}{:<4}  {}\n", what, ours, floor, figure, unit,
             fmt::format("{}", goal), unit, figure <= goal ? "reached" : "MISSED");
}

std::string us(double value) { return fmt::format("{:.1f} µs", value); }

std::string request(const std::string& method, const std::string& params) {
  return fmt::format(R"({{"jsonrpc":"2.0","id":1,"method":"{}","params":{}}})", method, params);
}

void measure(const fs::path& programs, const fs::path& floors, const fs::path& scratch) {
  const std::string server = programs / "tavro-mcp";
  const std::string loop = floors / "floor_loop";
  const fs::path database = scratch / "home" / "tavro.sqlite";
  const std::string hello = request("initialize", R"({"protocolVersion":"2025-06-18"})");
  const std::string ping = R"({"jsonrpc":"2.0","id":1,"method":"ping"})";
  const std::string list = request("tools/list", "{}");
  const std::string call = request("tools/call", R"({"name":"finder_reveal","arguments":{"path":"/tmp/x"}})");

  fmt::print("{:<34}{:>14}{:>14}{:>14}{:>12}\n", "", "tavro-mcp", "floor", "figure", "to reach");

  const auto [start, startFloor] = compareStarts(server, {loop, "{}"}, hello);
  row("spawn to initialize reply", us(start), us(startFloor), start / startFloor, 2.5, " x");

  Child child({server});
  child.ask(hello);
  const std::string catalogue = child.ask(list);
  const double pss = child.pssKiB() / 1024;
  row("PSS after tools/list", fmt::format("{:.2f} MiB", pss), "", pss, 6, "MiB");

  Child pingFloor({loop, child.ask(ping)});
  const Pair pings = compare(child, pingFloor, ping, 11, 5000);
  row("CPU per ping", us(pings.ours.cpu), us(pings.floor.cpu), pings.ours.cpu, 6, "µs");

  Child listFloor({loop, catalogue});
  const Pair lists = compare(child, listFloor, list, 11, 2000);
  row("CPU per tools/list", us(lists.ours.cpu), us(lists.floor.cpu), lists.ours.cpu / lists.floor.cpu, 3, " x");

  const double grown = child.pssKiB() / 1024;
  row("PSS after 77,000 requests more", fmt::format("{:.2f} MiB", grown), "", grown, 6, "MiB");

  // A refused call is audited and does nothing else.
  child.ask(request("tools/call", R"({"name":"how_it_works"})"));
  addRules(database, 1);
  Child insertFloor({floors / "floor_insert", scratch / "floor.sqlite", R"({"path":"/tmp/x"})"});
  const Pair audited = compare(child, insertFloor, call, 11, 100);
  row("CPU per audited call", us(audited.ours.cpu), us(audited.floor.cpu), audited.ours.cpu / audited.floor.cpu, 1.25,
      " x");
  row("wall time per audited call", us(audited.ours.wall), us(audited.floor.wall),
      audited.ours.wall / audited.floor.wall, 1.25, " x");

  addRules(database, 10'000);
  const Pair ruled = compare(child, insertFloor, call, 11, 50);
  const double more = (ruled.ours.cpu - ruled.floor.cpu) - (audited.ours.cpu - audited.floor.cpu);
  row("10,000 rules, more CPU per call", us(ruled.ours.cpu), us(audited.ours.cpu), more / 1000, 3, "ms");
}

/// We and those that we measure share a processor. On two, the reader that wakes at a reply meets the writer of its
/// end in the kernel, and the figures are those of the scheduler's choice.
void stayOnOneProcessor() {
  cpu_set_t one;
  CPU_ZERO(&one);
  CPU_SET(sched_getcpu(), &one);
  if (sched_setaffinity(0, sizeof one, &one) != 0) throw std::runtime_error("no processor of our own");
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    fmt::print(stderr, "usage: measure PROGRAMS FLOORS\n");
    return 2;
  }
  const fs::path programs = fs::absolute(argv[1]), floors = fs::absolute(argv[2]);
  return measureInScratch([&](const fs::path& scratch) {
    stayOnOneProcessor();
    measure(programs, floors, scratch);
  });
}
