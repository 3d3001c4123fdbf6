// The directory that the programs and their resources are installed in:
//
//   <bundle>/tavro-mcp  <bundle>/tavro -> Contents/Helpers/tavro
//   <bundle>/Contents/{Helpers,Desktop,PlugIns,Resources}/
#pragma once

#include <filesystem>

namespace Bundle {

/// The directory of the running executable, symbolic links resolved. For a program inside
/// Contents/<something>/ it is the directory that holds Contents.
const std::filesystem::path& url();

/// The running executable, symbolic links resolved; empty when the system doesn't tell. After an upgrade it may not
/// exist any more.
const std::filesystem::path& executable();

/// A file of Contents/Resources; it may not exist.
std::filesystem::path resource(const char* name);

}  // namespace Bundle
