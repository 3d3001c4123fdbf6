// System Events: what runs.
#include "Platform/linux/apps/Applications.h"
#include "Platform/linux/apps/DesktopApplication.h"
#include "Platform/linux/stores/RunningApplications.h"

using namespace AppleScript;

namespace {

Dictionary systemEventsDictionary() {
  return {
      .classes = {{.name = "application",
                   .plural = "applications",
                   .properties = {},
                   .elements = {"application process", "process"}},
                  {.name = "process",
                   .plural = "processes",
                   .properties = {{"name"}, {"displayed name"}, {"visible"}, {"frontmost"}, {"background only"}}},
                  {.name = "application process", .plural = "application processes", .inherits = "process"}},
      .commands = {},
      .constants = {},
  };
}

class ApplicationProcess : public DesktopObject {
 public:
  ApplicationProcess(DesktopApplication& systemEvents, std::string name)
      : DesktopObject(systemEvents), name_(std::move(name)) {}
  std::string className() const override { return "application process"; }
  std::string specifier() const override { return "application process " + DesktopValues::quoted(name_); }
  bool exists() override { return RunningApplications::contains(name_); }

  Value property(std::string_view name) override {
    if (name == "name" || name == "displayed name") return name_;
    return name == "visible";  // not frontmost, not background only
  }

 private:
  std::string name_;
};

class SystemEvents : public DesktopApplication {
 public:
  SystemEvents() : DesktopApplication("System Events", systemEventsDictionary()) {}

 protected:
  std::vector<ObjectPtr> ownElements(std::string_view) override {
    std::vector<ObjectPtr> found;
    for (auto& name : RunningApplications::names())
      found.push_back(std::make_shared<ApplicationProcess>(*this, std::move(name)));
    return found;
  }

  Value execute(const Command& command) override { DesktopValues::notUnderstood(command); }
};

}  // namespace

std::shared_ptr<Application> Applications::systemEvents() { return std::make_shared<SystemEvents>(); }
