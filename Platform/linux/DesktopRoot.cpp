#include "Platform/Desktop.h"
#include "Platform/Environment.h"

std::filesystem::path Desktop::root() {
  const auto chosen = Environment::value("TAVRO_DESKTOP");
  return chosen ? Environment::expandTilde(*chosen) : Environment::userDataDirectory() / "tavro-desktop";
}
