// What Terminal and iTerm2 have in common: windows, each with one tab, which has one session. What a Mac's dictionary
// of the one says of its tabs, that of the other says of its sessions; here each object knows the properties of both,
// and the dictionaries tell which ones scripts may name.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Platform/linux/apps/DesktopApplication.h"
#include "Platform/linux/terminal/TerminalSession.h"

class TerminalApplication : public DesktopApplication {
 public:
  using DesktopApplication::DesktopApplication;

 protected:
  AppleScript::Value ownProperty(std::string_view name) override;  // the current window
  std::vector<AppleScript::ObjectPtr> ownElements(std::string_view className) override;
  /// close and select; throws -1708 for others.
  AppleScript::Value execute(const AppleScript::Command& command) override;

  // `className` is "window", "tab" or "session".
  AppleScript::ObjectPtr open(std::string_view className, const std::string& command = {});
  void type(const AppleScript::Object& into, const std::string& text);
};

namespace TerminalWindows {

/// Their terms, for the two dictionaries.
extern const std::vector<AppleScript::PropertyTerm> windowProperties;

}  // namespace TerminalWindows
