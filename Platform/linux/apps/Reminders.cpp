#include "Platform/linux/apps/Applications.h"
#include "Platform/linux/apps/DesktopApplication.h"

using namespace AppleScript;

namespace {

class Reminders : public DesktopApplication {
 public:
  Reminders() : DesktopApplication("Reminders", {}) {}

 protected:
  Value execute(const Command& command) override { DesktopValues::notUnderstood(command); }
};

}  // namespace

std::shared_ptr<Application> Applications::reminders() { return std::make_shared<Reminders>(); }
