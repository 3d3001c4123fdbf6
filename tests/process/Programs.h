// The real programs of the bundle, run on a home and a desktop of the test's own.
#pragma once

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Platform/Bundle.h"
#include "Platform/Json.h"
#include "Platform/Process.h"

extern char** environ;

using Variables = std::map<std::string, std::string>;

inline std::string program(const std::string& name) { return Bundle::url() / name; }

inline std::vector<std::string> withVariables(const Variables& variables) {
  std::vector<std::string> all;
  for (char** entry = environ; *entry; ++entry) {
    const std::string text = *entry;
    if (!variables.contains(text.substr(0, text.find('=')))) all.push_back(text);
  }
  for (const auto& [name, value] : variables) all.push_back(name + "=" + value);
  return all;
}

// A running tavro-mcp.
class Server {
 public:
  explicit Server(const Variables& variables) {
    int in[2];
    int out[2];
    EXPECT_EQ(pipe2(in, O_CLOEXEC), 0);
    EXPECT_EQ(pipe2(out, O_CLOEXEC), 0);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], 0);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    std::string path = program("tavro-mcp");
    std::vector<char*> argv = {path.data(), nullptr};
    auto entries = withVariables(variables);
    std::vector<char*> envp;
    for (auto& entry : entries) envp.push_back(entry.data());
    envp.push_back(nullptr);
    EXPECT_EQ(posix_spawn(&process_, path.c_str(), &actions, nullptr, argv.data(), envp.data()), 0);
    posix_spawn_file_actions_destroy(&actions);
    close(in[0]);
    close(out[1]);
    to_ = in[1];
    from_ = out[0];
  }
  ~Server() { end(); }
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  void send(const std::string& line) {
    const std::string bytes = line + "\n";
    for (std::size_t sent = 0; sent < bytes.size();) {
      const ssize_t count = write(to_, bytes.data() + sent, bytes.size() - sent);
      ASSERT_GT(count, 0);
      sent += static_cast<std::size_t>(count);
    }
  }
  // The next line; nothing when the server has ended.
  std::optional<std::string> receive() {
    std::size_t searched = 0;
    for (;;) {
      const auto feed = pending_.find('\n', searched);
      if (feed != std::string::npos) {
        std::string line = pending_.substr(0, feed);
        pending_.erase(0, feed + 1);
        return line;
      }
      searched = pending_.size();
      char buffer[65536];
      const ssize_t count = read(from_, buffer, sizeof buffer);
      if (count <= 0) return std::nullopt;
      pending_.append(buffer, static_cast<std::size_t>(count));
    }
  }
  std::string call(const std::string& tool, const Json& arguments) {
    send(JsonText::write(
        Json{{"id", 1}, {"method", "tools/call"}, {"params", {{"name", tool}, {"arguments", arguments}}}}));
    const auto reply = receive();
    if (!reply) return "(the server ended)";
    return JsonText::parse(*reply)->at("result").at("content").at(0).at("text").get<std::string>();
  }
  void kill() { ::kill(process_, SIGKILL); }
  // Closes its input and waits; the exit status, or minus the signal.
  int end() {
    if (to_ < 0) return status_;
    close(to_);
    to_ = -1;
    int status = 0;
    waitpid(process_, &status, 0);
    close(from_);
    return status_ = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }

 private:
  pid_t process_ = 0;
  int to_ = -1;
  int from_ = -1;
  int status_ = 0;
  std::string pending_;
};

class ProgramsTest : public testing::Test {
 protected:
  ProgramsTest() {
    std::string name = (std::filesystem::temp_directory_path() / "tavro-process-XXXXXX").string();
    scratch_ = mkdtemp(name.data());
    for (const char* variable : {"TAVRO_CONFIG_DIR", "VENDRY_RUN", "TAVRO_PLATFORM_BIN"}) unsetenv(variable);
    setenv("HOME", scratch_.c_str(), 1);
    setenv("TAVRO_HOME", home().c_str(), 1);
    setenv("TAVRO_DESKTOP", (scratch_ / "desktop").c_str(), 1);
  }
  ~ProgramsTest() override { std::filesystem::remove_all(scratch_); }

  std::filesystem::path home() const { return scratch_ / "home"; }
  static Process::Result tavro(std::vector<std::string> arguments) {
    return Process::run({.program = program("tavro"), .arguments = std::move(arguments), .input = ""});
  }
  static Json audit() { return *JsonText::parse(tavro({"audit", "--json", "--limit", "100000"}).output); }

  std::filesystem::path scratch_;
};
