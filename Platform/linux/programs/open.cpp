// open: starts an application of the desktop, as the program of this name does on macOS: -a by its name, -b by its
// bundle id. Applications are no processes here, so it counts as running from then on and there is no window to hide
// (-g, -j). Messages and exit statuses are what callers of that program are used to.
#include <unistd.h>

#include <iostream>
#include <optional>
#include <string>

#include "Platform/Text.h"
#include "Platform/linux/stores/InstalledApplications.h"
#include "Platform/linux/stores/RunningApplications.h"

namespace {

constexpr const char* usage = "Usage: open [-g] [-j] -a application | -b bundle identifier\n";

struct WrongUsage {
  std::string message;
};

struct Call {
  std::optional<std::string> name;
  std::optional<std::string> bundleIdentifier;
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
  if (optind < count)
    throw WrongUsage{std::string("this one starts applications and opens no files: ") + words[optind]};
  if (call.name.has_value() == call.bundleIdentifier.has_value()) throw WrongUsage{"needs one of -a and -b"};
  return call;
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
  const auto name = call.name->ends_with(".app") ? call.name->substr(0, call.name->size() - 4) : *call.name;
  if (const auto* found = InstalledApplications::named(name)) return *found;
  throw Error("Unable to find application named '" + *call.name + "'");
}

}  // namespace

int main(int count, char** words) {
  try {
    const auto& application = applicationOf(parse(count, words));
    if (!application.isBackground) RunningApplications::add(std::string(application.name));
    return 0;
  } catch (const WrongUsage& wrong) {
    std::cerr << "open: " << wrong.message << "\n" << usage;
  } catch (const Error& error) {
    std::cerr << error.description() << "\n";
  }
  return 1;
}
