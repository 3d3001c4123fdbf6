// The home: the one directory that holds all state.
//
//   config.json                      HarnessConfig
//   tavro.sqlite                     audit, rules, feedback (TavroDB)
//   pending/<id>.json                queued actions (PendingStore)
//   automations/<name>/              loop.json, AGENT.md, JOURNAL.md
//   .runtime/{state,logs,run}/       state, logs and locks of automations
//   autonomy-grants.json             permission cache
//   .gitignore  .migrated            TavroMigration
#pragma once

#include <filesystem>

namespace ConfigDir {

/// TAVRO_HOME with a leading "~" expanded, when set and not empty; else "tavro" in the user's home.
std::filesystem::path url();
/// Where an older installation kept its data.
std::filesystem::path legacyURL();
std::filesystem::path databaseFile();

/// Creates the home (mode 0700), runs the migration and makes the home private. Throws FileFailure when
/// the home can't be created.
void ensure();

}  // namespace ConfigDir
