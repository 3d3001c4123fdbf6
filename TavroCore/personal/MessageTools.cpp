#include "TavroCore/personal/MessageTools.h"

std::vector<Tool> MessageTools::all() { return {}; }
std::vector<Tool> MessageTools::notifying() { return {}; }
