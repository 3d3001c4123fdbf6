#include "TavroCore/personal/ReminderTools.h"

std::vector<Tool> ReminderTools::all() { return {}; }
