// iTerm2: windows in which a script runs commands, each with one tab and one session.
#include "Platform/linux/apps/Applications.h"
#include "Platform/linux/apps/TerminalWindows.h"

using namespace AppleScript;

namespace {

constexpr std::string_view createWindow = "create window with ";  // "default profile", or a profile by its name

Dictionary iTermDictionary() {
  auto windowProperties = TerminalWindows::windowProperties;
  for (const char* name : {"current tab", "current session"}) windowProperties.push_back({name});
  return {
      .classes =
          {{.name = "application",
            .plural = "applications",
            .properties = {{"current window"}},
            .elements = {"window"}},
           {.name = "window", .plural = "windows", .properties = std::move(windowProperties), .elements = {"tab"}},
           {.name = "tab", .plural = "tabs", .properties = {{"index"}, {"current session"}}, .elements = {"session"}},
           {.name = "session",
            .plural = "sessions",
            .properties = {{"id"}, {"unique ID"}, {"name"}, {"tty"}, {"is processing"}, {"columns"}, {"rows"}}}},
      .commands = {{.name = std::string(createWindow) + "default profile",
                    .parameters = {{.label = "command"}},
                    .takesDirect = false},
                   {.name = std::string(createWindow) + "profile", .parameters = {{.label = "command"}}},
                   {.name = "write", .parameters = {{.label = "text"}, {.label = "newline", .flag = true}}}},
  };
}

/// `newline no` as well as `newline false`.
bool isNo(const Value* value) {
  if (value == nullptr) return false;
  const auto* constant = value->as<Constant>();
  return constant != nullptr ? constant->name == "no" : !asBoolean(*value);
}

class ITerm2 : public TerminalApplication {
 public:
  ITerm2() : TerminalApplication("iTerm2", iTermDictionary()) {}

 protected:
  Value execute(const Command& command) override {
    if (command.name.starts_with(createWindow)) {
      const auto* instead = command.parameter("command");  // of the shell
      return open("window", instead == nullptr ? "" : asText(*instead));
    }
    return command.name == "write" ? write(command) : TerminalApplication::execute(command);
  }

 private:
  Value write(const Command& command) {
    const auto session = command.direct.object();
    const auto* text = command.parameter("text");
    if (!session || text == nullptr) DesktopValues::notUnderstood(command);
    type(*session, asText(*text) + (isNo(command.parameter("newline")) ? "" : "\n"));
    return {};
  }
};

}  // namespace

std::shared_ptr<Application> Applications::iTerm2() { return std::make_shared<ITerm2>(); }
