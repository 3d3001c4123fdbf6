#include "TavroCore/harness/ConfigDir.h"

#include "Platform/Environment.h"
#include "Platform/Files.h"
#include "TavroCore/harness/DataProtection.h"
#include "TavroCore/harness/TavroMigration.h"

namespace ConfigDir {

std::filesystem::path url() {
  if (const auto home = Environment::value("TAVRO_HOME")) return Environment::expandTilde(*home);
  return Environment::home() / "tavro";
}

std::filesystem::path legacyURL() { return Environment::userDataDirectory() / "tavro"; }

std::filesystem::path databaseFile() { return url() / "tavro.sqlite"; }

void ensure() {
  const auto home = url();
  Files::createDirectories(home, 0700);
  TavroMigration::runIfNeeded();
  DataProtection::harden(home);
}

}  // namespace ConfigDir
