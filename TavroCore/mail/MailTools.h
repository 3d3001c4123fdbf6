// The tools for mail, each by itself for code that works with one, and in groups in the catalogue's order. The
// notification by message stands between `composing` and `answering`.
#pragma once

#include <vector>

#include "TavroCore/harness/Tool.h"

namespace MailTools {

std::vector<Tool> reading();
Tool accounts();
Tool headers();
Tool audit();
Tool search();
Tool body();
Tool open();
Tool messageId();

std::vector<Tool> composing();
Tool draft();
Tool send();
Tool notify();

std::vector<Tool> answering();
Tool reply();
Tool replyAll();
Tool forward();

std::vector<Tool> changing();
Tool discard();  // mail.delete
Tool move();
Tool archive();
Tool flag();
Tool junk();

}  // namespace MailTools
