// The two manuals, Markdown documents among the resources. A short text stands in for one that is
// missing or isn't UTF-8.
#pragma once

#include <string>

namespace TavroGuides {

const std::string& llm();   // for agents
const std::string& user();  // for owners

}  // namespace TavroGuides
