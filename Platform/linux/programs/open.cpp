// open: starts an application of the desktop, as the program of this name does on macOS: -a by its name, -b by its
// bundle id. Applications are no processes here, so it counts as running from then on and there is no window to hide
// (-g, -j). Files are for Terminal and iTerm2 alone: each is a script, run in a window of its own. Messages and exit
// statuses are what callers of that program are used to.
#include <unistd.h>

#include <filesystem>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "Platform/Files.h"
#include "Platform/Text.h"
#include "Platform/linux/stores/InstalledApplications.h"
#include "Platform/linux/stores/RunningApplications.h"
#include "Platform/linux/terminal/TerminalSession.h"

namespace {

constexpr const char* usage = "Usage: open [-g] [-j] -a application | -b bundle identifier [script ...]\n";

struct WrongUsage {
  std::string message;
};

struct Call {
  std::optional<std::string> name;
  std::optional<std::string> bundleIdentifier;
  std::vector<std::string> files;
};

Call parse(int count, char** words) {
  Call call;
  opterr = 0;
  for (int option; (option = ::getopt(count, words, "+:a:b:gj")) != -1;) {
    const std::string letter(1, static_cast<char>(optopt));
    if (option == 'a') call.name = optarg;
    if (option == 'b') call.bundleIdentifier = optarg;
    if (option == ':') throw WrongUsage{"option requires an argument -- " + letter};
    if (option == '?') throw WrongUsage{"unrecognized option -- " + letter};
  }
  call.files.assign(words + optind, words + count);
  if (call.name.has_value() == call.bundleIdentifier.has_value()) throw WrongUsage{"needs one of -a and -b"};
  return call;
}

/// "Terminal" of "/Applications/Utilities/Terminal.app/".
std::string plainName(std::string_view given) {
  while (given.size() > 1 && given.ends_with('/')) given.remove_suffix(1);
  const auto name = std::filesystem::path(given).filename().string();
  const auto stem = name.size() > 4 && Text::lowercase(name).ends_with(".app") ? name.substr(0, name.size() - 4) : name;
  return Text::equalIgnoringCase(stem, "iTerm") ? "iTerm2" : stem;
}

const InstalledApplications::Application& applicationOf(const Call& call) {
  if (call.bundleIdentifier) {
    const auto* found = InstalledApplications::withBundleIdentifier(*call.bundleIdentifier);
    if (found != nullptr) return *found;
    throw Error(
        "LSCopyApplicationURLsForBundleIdentifier() failed while trying to determine the application with "
        "bundle identifier " +
        *call.bundleIdentifier + ".");
  }
  if (const auto* found = InstalledApplications::named(plainName(*call.name))) return *found;
  throw Error("Unable to find application named '" + *call.name + "'");
}

/// The window stays when the script has ended, so that its last words can be read, until a script or Return closes it.
std::string commandOf(const std::filesystem::path& script) {
  return "trap : INT QUIT; '" + Text::replaceAll(script.string(), "'", "'\\''") +
         "'; printf '\\n[Process completed]\\n'; read -r line";
}

void openFiles(const InstalledApplications::Application& application, const std::vector<std::string>& files) {
  const std::string name(application.name);
  if (files.empty()) return;
  if (name != "Terminal" && name != "iTerm2") throw WrongUsage{name + " opens no files here: " + files.front()};
  for (const auto& file : files) {
    std::error_code failure;
    const auto script = std::filesystem::absolute(file, failure);
    if (failure || !Files::exists(script)) throw Error("The file " + file + " does not exist.");
    if (Files::isDirectory(script) || ::access(script.c_str(), X_OK) != 0)
      throw Error("The file " + script.string() + " is no program that can be run.");
    TerminalSessions::open({.application = name, .command = commandOf(script)});
  }
}

}  // namespace

int main(int count, char** words) {
  try {
    const Call call = parse(count, words);
    const auto& application = applicationOf(call);
    openFiles(application, call.files);
    if (!application.isBackground) RunningApplications::add(std::string(application.name));
    return 0;
  } catch (const WrongUsage& wrong) {
    std::cerr << "open: " << wrong.message << "\n" << usage;
  } catch (const Error& error) {
    std::cerr << error.description() << "\n";
  }
  return 1;
}
