// The notes of the owner's Notes application, as tools.
#pragma once

#include <vector>

#include "TavroCore/harness/Tool.h"

namespace NoteTools {

/// note.list, note.find, note.read, note.add, note.open, note.update, note.delete.
std::vector<Tool> all();

}  // namespace NoteTools
