#include "Platform/linux/apps/Applications.h"
#include "Platform/linux/apps/DesktopApplication.h"

using namespace AppleScript;

namespace {

class Messages : public DesktopApplication {
 public:
  Messages() : DesktopApplication("Messages", {}) {}

 protected:
  Value execute(const Command& command) override { DesktopValues::notUnderstood(command); }
};

}  // namespace

std::shared_ptr<Application> Applications::messages() { return std::make_shared<Messages>(); }
