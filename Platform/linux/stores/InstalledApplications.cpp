#include "Platform/linux/stores/InstalledApplications.h"

#include <algorithm>

#include "Platform/Text.h"
#include "Platform/linux/stores/RunningApplications.h"

namespace InstalledApplications {

namespace {

const Application* find(std::string_view Application::*field, std::string_view wanted) {
  const auto* found = std::find_if(all.begin(), all.end(), [&](const Application& application) {
    return Text::equalIgnoringCase(application.*field, wanted);
  });
  return found == all.end() ? nullptr : found;
}

}  // namespace

const Application* named(std::string_view name) { return find(&Application::name, name); }

const Application* withBundleIdentifier(std::string_view identifier) {
  return find(&Application::bundleIdentifier, identifier);
}

bool isRunning(const Application& application) {
  return application.isBackground || RunningApplications::contains(application.name);
}

}  // namespace InstalledApplications
