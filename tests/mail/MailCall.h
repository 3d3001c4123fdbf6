// Calls a mail tool in one line: call("move", "from=ann;dest=Old").
#pragma once

#include "tests/support/ToolCall.h"

inline const Tool& mailTool(const std::string& id) { return *Tools::find("mail." + id); }

inline std::string call(const std::string& id, const Arguments& args) { return callTool("mail." + id, args); }
inline std::string call(const std::string& id, const std::string& args = "") { return callTool("mail." + id, args); }

inline std::string preview(const std::string& id, const std::string& args) { return previewOf("mail." + id, args); }
