// Permission to control the desktop's applications. It is the same for every event, so the class and id of one make no
// difference; and nobody is asked, the owner has said beforehand (permissions.json).
#include "Platform/AppleEvents.h"

#include "Platform/Error.h"
#include "Platform/linux/stores/InstalledApplications.h"
#include "Platform/linux/stores/Permissions.h"
#include "Platform/linux/stores/RunningApplications.h"

namespace {

OSStatus statusOf(Permissions::Access access) {
  if (access == Permissions::Access::full) return noErr;
  return access == Permissions::Access::notDetermined ? errAEEventWouldRequireUserConsent : errAEEventNotPermitted;
}

Permissions::Access afterAsking(Permissions::Subject subject) {
  try {
    Permissions::request(subject);
  } catch (const Error&) {  // the answer couldn't be kept, so it isn't given
  }
  return Permissions::access(subject);
}

}  // namespace

OSStatus AECreateDesc(FourCharCode type, std::string_view data, AEDesc& result) {
  if (type != typeApplicationBundleID) return paramErr;
  result = {.descriptorType = type, .data = std::string(data)};
  return noErr;
}

OSStatus AEDisposeDesc(AEDesc& desc) {
  desc = {};
  return noErr;
}

OSStatus AEDeterminePermissionToAutomateTarget(const AEDesc& target, FourCharCode, FourCharCode, bool askUserIfNeeded) {
  if (target.descriptorType != typeApplicationBundleID) return paramErr;
  const auto* application = InstalledApplications::withBundleIdentifier(target.data);
  if (application == nullptr || !InstalledApplications::isRunning(*application)) return procNotFound;
  const auto subject = Permissions::Subject::automation(application->name);
  const auto access = Permissions::access(subject);
  return statusOf(askUserIfNeeded && access == Permissions::Access::notDetermined ? afterAsking(subject) : access);
}

std::vector<NSRunningApplication> NSRunningApplication::runningApplications(std::string_view bundleIdentifier) {
  const auto* application = InstalledApplications::withBundleIdentifier(bundleIdentifier);
  if (application == nullptr || !InstalledApplications::isRunning(*application)) return {};
  return {NSRunningApplication(std::string(application->name))};
}

bool NSRunningApplication::terminate() const try { return RunningApplications::remove(name_); } catch (const Error&) {
  return false;
}
