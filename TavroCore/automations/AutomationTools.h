// The tools by which an agent manages scheduled automations.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "TavroCore/automations/Automation.h"
#include "TavroCore/automations/AutomationDraft.h"
#include "TavroCore/harness/Tool.h"

namespace AutomationTools {

std::vector<Tool> all();

/// The draft that arguments describe: of a new automation, or of `existing` changed by them. Throws ToolError at the
/// first fault.
AutomationDraft draftFrom(const Arguments& args, const std::string& name, const std::optional<Automation>& existing);

}  // namespace AutomationTools
