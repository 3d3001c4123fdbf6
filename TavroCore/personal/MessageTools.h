// Messages as tools, in the catalogue's order: the notification stands among those for mail.
#pragma once

#include <vector>

#include "TavroCore/harness/Tool.h"

namespace MessageTools {

std::vector<Tool> notifying();  // imessage.notify
std::vector<Tool> all();        // imessage.send, imessage.read

}  // namespace MessageTools
