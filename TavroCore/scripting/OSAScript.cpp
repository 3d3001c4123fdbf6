#include "TavroCore/scripting/OSAScript.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <system_error>

#include "Platform/Environment.h"
#include "Platform/Files.h"
#include "Platform/Process.h"
#include "Platform/Program.h"
#include "Platform/Text.h"

namespace OSAScript {
namespace {

// A script's file, gone again when the run is over, however it ends.
class TemporaryScript {
 public:
  explicit TemporaryScript(std::string_view text)
      : path_(Files::temporaryName(Environment::temporaryDirectory(), "tavro", "applescript")) {
    Files::createNew(path_, text, 0600, Files::Durability::unflushed);
  }
  ~TemporaryScript() {
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
  }
  TemporaryScript(const TemporaryScript&) = delete;
  TemporaryScript& operator=(const TemporaryScript&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

Process::Result launch(const std::filesystem::path& script, const std::vector<std::string>& argv) {
  Process::Command command{.program = Platform::program("osascript"), .arguments = {script.string()}};
  command.arguments.insert(command.arguments.end(), argv.begin(), argv.end());
  return Process::run(command);
}

Result failure(const std::string& message) { return {.ok = false, .output = "", .error = message, .code = -1}; }

}  // namespace

std::string meaningfulError(std::string_view raw) {
  static constexpr std::array<std::string_view, 3> markers = {"syntax error", "script error", "execution error"};
  // What the frameworks under osascript say on their own account.
  static constexpr std::array<std::string_view, 6> noise = {"TISFileInterrogator",   "Connection invalid",
                                                            "Connection Invalid",    "Keyboard Layouts",
                                                            "hiservices-xpcservice", "message reply handler"};
  const auto lines = Text::lines(raw);
  if (lines.empty()) return "";
  for (const std::string_view marker : markers) {
    for (auto line = lines.rbegin(); line != lines.rend(); ++line) {
      const auto at = line->find(marker);
      if (at != std::string_view::npos) return std::string(Text::trimBlanks(line->substr(at)));
    }
  }
  const auto isNoise = [](std::string_view line) {
    return std::any_of(noise.begin(), noise.end(),
                       [&](std::string_view fragment) { return line.find(fragment) != std::string_view::npos; });
  };
  const auto telling = std::find_if_not(lines.rbegin(), lines.rend(), isNoise);
  return std::string(Text::trimBlanks(telling != lines.rend() ? *telling : lines.back()));
}

Result run(std::string_view script, const std::vector<std::string>& argv) {
  try {
    const TemporaryScript file(script);
    try {
      Process::Result child = launch(file.path(), argv);
      const std::int32_t code = child.status.exited ? child.status.code : child.status.signal;
      const std::string output = Text::decodeUTF8(std::move(child.output)).value_or("");
      return {.ok = code == 0,
              .output = std::string(Text::trim(output)),
              .error = meaningfulError(Text::decodeUTF8(std::move(child.errors)).value_or("")),
              .code = code};
    } catch (const Process::LaunchFailure& refused) {
      return failure("failed to launch osascript: " + refused.reason());
    }
  } catch (const Error& unwritten) {
    return failure("failed to write temp script: " + unwritten.description());
  }
}

}  // namespace OSAScript
