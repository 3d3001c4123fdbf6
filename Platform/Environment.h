// What the process was started with: its variables and the user's directories.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace Environment {

/// The variable's value; nothing when it is unset or empty.
std::optional<std::string> value(const char* name);

/// Gives a variable another value for as long as it lives. Not for several threads.
class Setting {
 public:
  Setting(const char* name, const std::string& value);
  ~Setting();
  Setting(const Setting&) = delete;
  Setting& operator=(const Setting&) = delete;

 private:
  const char* name_;
  std::optional<std::string> before_;
};

/// The current user's home directory: HOME, else the one of the user database. Never empty.
std::filesystem::path home();

/// `text` with a leading "~" or "~/" replaced by the user's home directory. Other texts, "~name"
/// among them, come back unchanged.
std::filesystem::path expandTilde(std::string_view text);

/// Where short-lived files go: TMPDIR, else /tmp.
std::filesystem::path temporaryDirectory();

/// Per-user data and settings of applications: XDG_DATA_HOME and XDG_CONFIG_HOME when they are absolute paths, else
/// ~/.local/share and ~/.config (XDG base directories 0.8, freedesktop.org).
std::filesystem::path userDataDirectory();
std::filesystem::path userConfigDirectory();

/// The number of the user that we run for.
unsigned userId();

}  // namespace Environment
