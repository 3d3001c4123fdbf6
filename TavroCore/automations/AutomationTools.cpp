#include "TavroCore/automations/AutomationTools.h"

std::vector<Tool> AutomationTools::all() { return {}; }
