// Parts of the platform that need large libraries (plugins/) lie in modules of their own, loaded when they are first
// asked for: most of an agent's sessions never ask, and each library costs the server's start.
#pragma once

#include <string>

/// Begins a function that a module offers; everything else in it is the module's own.
#define TAVRO_PLUG_IN extern "C" __attribute__((visibility("default")))

namespace PlugIn {

/// The function `symbol` of <bundle>/Contents/PlugIns/<name>.so, which stays loaded. Throws Error with the
/// loader's own words.
void* function(const std::string& name, const char* symbol);

}  // namespace PlugIn
