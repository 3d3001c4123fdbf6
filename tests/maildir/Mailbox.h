// A directory for mailboxes, with short words for what other programs do in it.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Files.h"
#include "Platform/linux/stores/Maildir.h"
#include "tests/platform/TemporaryDirectory.h"

class MailTest : public testing::Test {
 protected:
  /// `file` is below the test's directory.
  std::filesystem::path put(const std::filesystem::path& file, std::string_view bytes = "Subject: x\n\nx\n") const {
    std::filesystem::create_directories((root / file).parent_path());
    std::ofstream(root / file, std::ios::binary) << bytes;
    return root / file;
  }
  Maildir mailbox(const std::filesystem::path& name) const {
    Maildir made(root / name);
    made.create();
    return made;
  }
  std::string get(const std::filesystem::path& file) const { return Files::read(root / file).value_or("(no file)"); }
  std::vector<std::string> names(const std::filesystem::path& folder) const { return Files::list(root / folder); }

  TemporaryDirectory directory;
  std::filesystem::path root = directory.path();
};

/// Root may read everything, so that tests of what may not be read would test nothing.
class AsOrdinaryUser {
 public:
  explicit AsOrdinaryUser(const std::filesystem::path& directory) {
    if (::geteuid() != 0) return;
    std::filesystem::permissions(directory, std::filesystem::perms(0777));
    wasRoot_ = ::seteuid(65534) == 0;
  }
  ~AsOrdinaryUser() {
    if (wasRoot_) static_cast<void>(!::seteuid(0));
  }
  AsOrdinaryUser(const AsOrdinaryUser&) = delete;
  AsOrdinaryUser& operator=(const AsOrdinaryUser&) = delete;

 private:
  bool wasRoot_ = false;
};
