// May this program tell an application what to do, and which applications run? On macOS the system keeps both; on
// Linux the desktop does (permissions.json, running.json). Nothing here throws: a status tells what went wrong.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

using OSStatus = std::int32_t;
/// Four characters in 32 bits, the first one in the highest.
using FourCharCode = std::uint32_t;

constexpr FourCharCode fourCharCode(const char (&characters)[5]) {
  FourCharCode code = 0;
  for (int i = 0; i < 4; ++i) code = code << 8 | static_cast<unsigned char>(characters[i]);
  return code;
}

constexpr FourCharCode typeApplicationBundleID = fourCharCode("bund");
constexpr FourCharCode typeWildCard = fourCharCode("****");

constexpr OSStatus noErr = 0;
constexpr OSStatus paramErr = -50;
constexpr OSStatus procNotFound = -600;             // the application isn't running
constexpr OSStatus errAEEventNotPermitted = -1743;  // the owner refused
constexpr OSStatus errAEEventWouldRequireUserConsent = -1744;

/// The address of an application.
struct AEDesc {
  FourCharCode descriptorType = 0;
  std::string data;
};

/// An address by a bundle id in UTF-8, which needn't be of an application that there is. Not 0 for another type; then
/// `result` is as it was.
OSStatus AECreateDesc(FourCharCode type, std::string_view data, AEDesc& result);
/// Afterwards it addresses nothing.
OSStatus AEDisposeDesc(AEDesc& desc);

/// 0 when we may, else one of the above or another status; `procNotFound` also for an application that isn't
/// installed. With `askUserIfNeeded` the owner is asked where they haven't decided, and the call blocks until they
/// have; where nobody can be asked, it stays undecided.
OSStatus AEDeterminePermissionToAutomateTarget(const AEDesc& target, FourCharCode eventClass, FourCharCode eventID,
                                               bool askUserIfNeeded);

/// An application that runs.
class NSRunningApplication {
 public:
  /// All that run of it: none or one, or more where a system lets an application run twice.
  static std::vector<NSRunningApplication> runningApplications(std::string_view bundleIdentifier);
  /// Asks it to quit, which it may do later. False when it couldn't be asked.
  bool terminate() const;

 private:
  explicit NSRunningApplication(std::string name) : name_(std::move(name)) {}
  std::string name_;
};
