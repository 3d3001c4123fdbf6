// The one-time move of an older installation into the present home. It copies and never deletes.
#pragma once

namespace TavroMigration {

/// Does nothing once <home>/.migrated is there. Never throws; what can't be copied is passed over.
void runIfNeeded() noexcept;

}  // namespace TavroMigration
