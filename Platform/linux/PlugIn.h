// Parts of the platform that need large libraries (OpenSSL, libsecret) lie in modules of their own, loaded when
// they are first asked for: most of an agent's sessions never are, and each library costs the server's start.
#pragma once

#include <string>

namespace PlugIn {

/// The function `symbol` of <bundle>/Contents/PlugIns/<name>.so, which stays loaded. Throws Error with the
/// loader's own words.
void* function(const std::string& name, const char* symbol);

}  // namespace PlugIn
