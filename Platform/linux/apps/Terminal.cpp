// Terminal: windows in which a script runs commands.
#include "Platform/linux/apps/Applications.h"
#include "Platform/linux/apps/TerminalWindows.h"

using namespace AppleScript;

namespace {

Dictionary terminalDictionary() {
  auto windowProperties = TerminalWindows::windowProperties;
  windowProperties.push_back({"selected tab"});
  return {
      .classes =
          {{.name = "application", .plural = "applications", .elements = {"window"}},
           {.name = "window", .plural = "windows", .properties = std::move(windowProperties), .elements = {"tab"}},
           {.name = "tab", .plural = "tabs", .properties = {{"tty"}, {"busy"}, {"processes"}, {"selected"}}}},
      .commands = {{.name = "do script", .parameters = {{.label = "in"}}}},
  };
}

class Terminal : public TerminalApplication {
 public:
  Terminal() : TerminalApplication("Terminal", terminalDictionary()) {}

 protected:
  Value execute(const Command& command) override {
    if (command.name != "do script") return TerminalApplication::execute(command);
    const auto text = command.direct.text() ? *command.direct.text() : std::string();
    const auto* in = command.parameter("in");
    const auto place = in == nullptr ? open("tab") : in->object();
    if (!place) DesktopValues::notUnderstood(command);
    if (!text.empty()) type(*place, text + "\n");
    return in == nullptr || place->className() == "tab" ? place : place->property("selected tab");
  }
};

}  // namespace

std::shared_ptr<Application> Applications::terminal() { return std::make_shared<Terminal>(); }
