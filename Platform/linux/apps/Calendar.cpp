#include "Platform/linux/apps/Applications.h"
#include "Platform/linux/apps/DesktopApplication.h"

using namespace AppleScript;

namespace {

class Calendar : public DesktopApplication {
 public:
  Calendar() : DesktopApplication("Calendar", {}) {}

 protected:
  Value execute(const Command& command) override { DesktopValues::notUnderstood(command); }
};

}  // namespace

std::shared_ptr<Application> Applications::calendar() { return std::make_shared<Calendar>(); }
