// A home of its own for each test, and other processes to share it with.
#pragma once

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

#include "Platform/Files.h"
#include "TavroCore/harness/AuditLog.h"
#include "TavroCore/harness/RuleStore.h"
#include "tests/platform/TemporaryDirectory.h"

/// The user's home, the system's home in it, and their variables.
class HomeTest : public testing::Test {
 protected:
  HomeTest() : HomeTest(own_) {}
  explicit HomeTest(const TemporaryDirectory& directory) : user(directory.path()), home(user / "tavro") {
    ::setenv("HOME", user.c_str(), 1);
    ::setenv("XDG_DATA_HOME", (user / "data").c_str(), 1);
    ::setenv("TAVRO_HOME", home.c_str(), 1);
  }

  static void write(const std::filesystem::path& file, std::string_view text) {
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << text;
  }
  static std::string read(const std::filesystem::path& file) { return Files::read(file).value_or("(no file)"); }

 private:
  TemporaryDirectory own_;

 protected:
  const std::filesystem::path user;
  const std::filesystem::path home;
};

/// For what goes by the shared facades, which open one home and stay with it: that home, emptied.
class SharedHomeTest : public HomeTest {
 protected:
  SharedHomeTest() : HomeTest(shared()) {
    AuditLog::shared().purge(-1000);
    const auto rules = RuleStore::shared().all();
    for (const auto& rule : *rules) RuleStore::shared().remove(rule.id);
    std::filesystem::remove_all(home / "pending");
    std::filesystem::remove(home / "config.json");
  }

 private:
  static const TemporaryDirectory& shared() {
    static const TemporaryDirectory directory;
    return directory;
  }
};

/// Runs `body` in `count` processes that start it at the same moment, each with its number. Use no
/// database in it that this process has open.
inline void inProcesses(int count, const std::function<void(int)>& body) {
  int gate[2];
  ASSERT_EQ(::pipe2(gate, O_CLOEXEC), 0);
  std::vector<pid_t> children;
  for (int number = 0; number < count; ++number) {
    children.push_back(::fork());
    if (children.back() != 0) continue;
    try {
      ::close(gate[1]);
      char end;
      while (::read(gate[0], &end, 1) > 0) {
      }
      body(number);
      ::_exit(testing::Test::HasFailure() ? 2 : 0);
    } catch (const std::exception& failure) {
      fprintf(stderr, "process %d: %s\n", number, failure.what());
    }
    ::_exit(1);
  }
  ::close(gate[0]);
  ::close(gate[1]);
  for (const pid_t child : children) {
    int status = -1;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
  }
}
