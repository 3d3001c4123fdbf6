// Makes a Program of a script text. Strict: what a compiler of the language would refuse is refused
// here, with its message; where it isn't known, refused too.
#pragma once

#include <memory>
#include <string_view>

#include "Platform/linux/applescript/Application.h"
#include "Platform/linux/applescript/Syntax.h"

namespace AppleScript {

/// Throws SyntaxError. `applications` gives the dictionaries of those that the script names.
std::unique_ptr<Program> parse(std::string_view source, Directory& applications);

}  // namespace AppleScript
