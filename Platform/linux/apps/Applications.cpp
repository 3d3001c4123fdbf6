#include "Platform/linux/apps/Applications.h"

#include <array>
#include <map>
#include <string>

#include "Platform/Text.h"

namespace {

struct Installed {
  const char* name;
  std::shared_ptr<AppleScript::Application> (*make)();
};
constexpr std::array<Installed, 11> installed = {{
    {"Mail", Applications::mail},
    {"Calendar", Applications::calendar},
    {"Reminders", Applications::reminders},
    {"Notes", Applications::notes},
    {"Contacts", Applications::contacts},
    {"Messages", Applications::messages},
    {"Finder", Applications::finder},
    {"Terminal", Applications::terminal},
    {"iTerm2", Applications::iTerm2},
    {"iTerm", Applications::iTerm2},  // what scripts of old call it
    {"System Events", Applications::systemEvents},
}};

class InstalledApplications : public AppleScript::Directory {
 public:
  std::shared_ptr<AppleScript::Application> find(std::string_view name) override {
    for (const auto& [known, make] : installed) {
      if (!Text::equalIgnoringCase(known, name)) continue;
      auto& application = made_[known];
      if (!application) application = make();
      return application;
    }
    return nullptr;
  }

 private:
  std::map<std::string, std::shared_ptr<AppleScript::Application>> made_;
};

}  // namespace

std::unique_ptr<AppleScript::Directory> Applications::installedApplications() {
  return std::make_unique<InstalledApplications>();
}
