// Variables by getenv, the home of last resort by the user database.
#include "Platform/Environment.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <vector>

namespace Environment {

namespace {

std::optional<std::string> homeOfTheUserDatabase() {
  std::vector<char> buffer(16384);
  passwd entry{};
  passwd* found = nullptr;
  if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr) return std::nullopt;
  if (found->pw_dir == nullptr || *found->pw_dir == '\0') return std::nullopt;
  return found->pw_dir;
}

std::filesystem::path userDirectory(const char* variable, const char* below) {
  const auto chosen = value(variable);
  return chosen && chosen->front() == '/' ? std::filesystem::path(*chosen) : home() / below;
}

}  // namespace

std::optional<std::string> value(const char* name) {
  const char* text = std::getenv(name);
  if (text == nullptr || *text == '\0') return std::nullopt;
  return text;
}

Setting::Setting(const char* name, const std::string& value) : name_(name), before_(Environment::value(name)) {
  setenv(name_, value.c_str(), 1);
}

Setting::~Setting() {
  if (before_)
    setenv(name_, before_->c_str(), 1);
  else
    unsetenv(name_);
}

std::filesystem::path home() {
  if (auto variable = value("HOME")) return *variable;
  return homeOfTheUserDatabase().value_or("/");
}

std::filesystem::path expandTilde(std::string_view text) {
  if (text == "~") return home();
  if (!text.starts_with("~/")) return text;
  const std::size_t rest = text.find_first_not_of('/', 1);
  return rest == std::string_view::npos ? home() : home() / text.substr(rest);
}

std::filesystem::path temporaryDirectory() { return value("TMPDIR").value_or("/tmp"); }

std::filesystem::path userDataDirectory() { return userDirectory("XDG_DATA_HOME", ".local/share"); }
std::filesystem::path userConfigDirectory() { return userDirectory("XDG_CONFIG_HOME", ".config"); }

unsigned userId() { return getuid(); }

}  // namespace Environment
