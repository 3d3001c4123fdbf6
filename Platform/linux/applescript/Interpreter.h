// Runs a script text: lexer, parser and evaluator in one call.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Platform/linux/applescript/Application.h"

namespace AppleScript {

struct Outcome {
  bool ok = false;
  Value result;           // of the run handler, when ok
  bool isSyntax = false;  // else: a syntax error or an execution error
  int number = 0;
  std::string message;    // the text without the number
  std::size_t begin = 0;  // the place in the source, counted in UTF-16 code units from 0
  std::size_t end = 0;
};

/// Compiles and runs `source`; `arguments` go to the run handler as its list. Never throws for
/// anything that stands in a script.
Outcome run(std::string_view source, const std::vector<std::string>& arguments, Directory& applications);

}  // namespace AppleScript
