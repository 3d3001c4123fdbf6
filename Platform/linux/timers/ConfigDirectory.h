// The user's directory of settings: XDG_CONFIG_HOME when it is an absolute path, else ~/.config (XDG Base Directory
// Specification 0.8).
#pragma once

#include <filesystem>

#include "Platform/Environment.h"

namespace ConfigDirectory {

inline std::filesystem::path path() {
  const auto variable = Environment::value("XDG_CONFIG_HOME");
  return variable && variable->front() == '/' ? std::filesystem::path(*variable) : Environment::home() / ".config";
}

}  // namespace ConfigDirectory
