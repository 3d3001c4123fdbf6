// A desktop of its own for each test, in a temporary directory, with short words for its files.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include "Platform/Files.h"

class Desk : public testing::Test {
 protected:
  Desk() {
    std::string name = std::filesystem::temp_directory_path() / "tavro-desk-XXXXXX";
    directory = ::mkdtemp(name.data());
    root = directory / "desktop";
    ::setenv("TAVRO_DESKTOP", root.c_str(), 1);
    for (const char* session : {"DISPLAY", "WAYLAND_DISPLAY", "DBUS_SESSION_BUS_ADDRESS", "XDG_RUNTIME_DIR"})
      ::unsetenv(session);
  }
  ~Desk() override {
    std::error_code ignored;
    std::filesystem::remove_all(directory, ignored);
  }

  /// `file` is below the desktop's root.
  void put(const std::filesystem::path& file, std::string_view bytes) const {
    std::filesystem::create_directories((root / file).parent_path());
    std::ofstream(root / file, std::ios::binary) << bytes;
  }
  std::string get(const std::filesystem::path& file) const { return Files::read(root / file).value_or("(no file)"); }

  /// A screen whose xdg-open writes down what it is to open.
  void giveScreen() const {
    put("../bin/xdg-open", "#!/bin/sh\nprintf '%s\\n' \"$1\" > " + (directory / "shown.part").string() + "; mv " +
                               (directory / "shown.part").string() + " " + shown().string() + "\n");
    Files::setMode(directory / "bin/xdg-open", 0700);
    ::setenv("PATH", ((directory / "bin").string() + ":/usr/bin:/bin").c_str(), 1);
    ::setenv("DISPLAY", ":9", 1);
  }
  std::filesystem::path shown() const { return directory / "shown"; }
  /// Waits for the viewer, which nobody else does.
  std::string shownFile() const {
    for (int i = 0; i < 1000 && !Files::exists(shown()); ++i) ::usleep(10'000);
    return Files::read(shown()).value_or("(nothing shown)");
  }

  std::filesystem::path directory;
  std::filesystem::path root;
};
