// The reminders as tools.
#pragma once

#include <vector>

#include "TavroCore/harness/Tool.h"

namespace ReminderTools {

/// reminder.lists, find, add, addList, renameList, update, complete, delete, deleteList, clearCompleted.
std::vector<Tool> all();

}  // namespace ReminderTools
